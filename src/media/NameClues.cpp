#include "media/NameClues.h"

#include <QRegularExpression>

#include <algorithm>

namespace NameClues {
namespace {

using Pattern = QRegularExpression;

const Pattern &yearPattern()
{
    static const Pattern pattern(QStringLiteral("(?<![\\p{L}\\p{N}])(19\\d\\d|20\\d\\d)(?![\\p{L}\\p{N}])"));
    return pattern;
}

// Words that start the release part of a name: resolutions, sources, codecs, editions.
const Pattern &releaseTagPattern()
{
    static const Pattern pattern(
        QStringLiteral("(?<![\\p{L}\\p{N}])(\\d{3,4}[pi]|4k|uhd|blu-?ray|bdrip|brrip|dvdrip|dvdscr|web-?dl|webrip|hdtv|"
                       "hdrip|remux|x26[45]|h\\.?26[45]|hevc|xvid|divx|10bit|proper|repack|extended|unrated|"
                       "remastered|limited)(?![\\p{L}\\p{N}])"),
        Pattern::CaseInsensitiveOption);
    return pattern;
}

const Pattern &imdbPattern()
{
    static const Pattern pattern(QStringLiteral("(?<![\\p{L}\\p{N}])(tt\\d{7,8})(?!\\d)"));
    return pattern;
}

const Pattern &tmdbTagPattern()
{
    static const Pattern pattern(QStringLiteral("[{\\[]tmdb(?:id)?[-=:](\\d{1,9})[}\\]]"), Pattern::CaseInsensitiveOption);
    return pattern;
}

/** Where the year that yearIn() reads starts, -1 when there is none. */
qsizetype yearPosition(const QString &name, const QString &movieTitle)
{
    const QStringList titleWords = folded(movieTitle).split(QLatin1Char(' '));
    qsizetype position = -1;
    QRegularExpressionMatchIterator matches = yearPattern().globalMatch(name);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        if (match.capturedStart(1) > 0 && !titleWords.contains(match.captured(1)))
            position = match.capturedStart(1);
    }
    return position;
}

/** Where the first release tag after the first character starts, -1 when there is none. */
qsizetype releaseTagPosition(const QString &name)
{
    QRegularExpressionMatchIterator matches = releaseTagPattern().globalMatch(name);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        if (match.capturedStart(1) > 0)
            return match.capturedStart(1);
    }
    return -1;
}

qint64 firstNumber(const QString &text, const Pattern &pattern)
{
    const QRegularExpressionMatch match = pattern.match(text);
    return match.hasMatch() ? match.captured(1).toLongLong() : 0;
}

} // namespace

QString Identifier::describe() const
{
    if (tmdbID > 0)
        return QStringLiteral("TMDb id %1").arg(tmdbID);
    return QStringLiteral("IMDb number ") + imdbID;
}

int yearIn(const QString &name, const QString &movieTitle)
{
    const qsizetype position = yearPosition(name, movieTitle);
    return position < 0 ? 0 : name.mid(position, 4).toInt();
}

QString folded(const QString &title)
{
    QString text;
    text.reserve(title.size());
    for (const QChar c : title)
        text.append(c.isLetterOrNumber() ? c.toLower() : QLatin1Char(' '));
    return text.simplified();
}

QString titleIn(const QString &name, const QString &movieTitle)
{
    QString text = name;
    text.remove(tmdbTagPattern());
    text.remove(imdbPattern());
    qsizetype end = text.size();
    for (const qsizetype position : {yearPosition(text, movieTitle), releaseTagPosition(text)}) {
        if (position > 0)
            end = std::min(end, position);
    }
    return folded(text.left(end));
}

Identifier identifierIn(const QString &text)
{
    Identifier found;
    found.tmdbID = firstNumber(text, tmdbTagPattern());
    if (found.tmdbID < 1)
        found.imdbID = imdbPattern().match(text).captured(1);
    return found;
}

Identifier identifierInNfo(const QString &contents)
{
    static const Pattern tmdbPatterns[] = {
        Pattern(QStringLiteral("<tmdbid>\\s*(\\d{1,9})\\s*</tmdbid>"), Pattern::CaseInsensitiveOption),
        Pattern(QStringLiteral("<uniqueid[^>]*type=\"tmdb\"[^>]*>\\s*(\\d{1,9})\\s*<"), Pattern::CaseInsensitiveOption),
        Pattern(QStringLiteral("themoviedb\\.org/movie/(\\d{1,9})"), Pattern::CaseInsensitiveOption),
    };
    Identifier found;
    for (const Pattern &pattern : tmdbPatterns) {
        found.tmdbID = firstNumber(contents, pattern);
        if (found.tmdbID > 0)
            return found;
    }
    found.imdbID = imdbPattern().match(contents).captured(1);
    return found;
}

} // namespace NameClues
