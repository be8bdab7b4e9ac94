#include "base/AnswerCache.h"
#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "cli/MatchReport.h"
#include "app/MovieLookup.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QTextStream>

namespace Commands {

namespace {

void printRecord(QTextStream &out, const QString &name, const MovieItem &record)
{
    const QString title = record.value(ItemKey::movieTitle).toString();
    out << name << "\n";
    if (title.isEmpty()) {
        const QString failure = record.value(ItemKey::lookupFailure).toString();
        out << (failure.isEmpty() ? QStringLiteral("    not found") : QStringLiteral("    lookup failed: ") + failure) << "\n";
        return;
    }
    out << "    " << title << " (" << record.value(ItemKey::movieReleaseDate_BEAUTIFIED).toString() << "), TMDb "
        << record.value(ItemKey::movieTMDBID).toLongLong() << ", IMDb " << record.value(ItemKey::imdbID).toString()
        << "\n";
    out << "    genre: " << record.value(ItemKey::movieGenre).toString()
        << "   rating: " << CliSupport::ratingLabel(record.value(ItemKey::movieRating_US).toString()) << "\n";
    out << "    directors: " << record.value(ItemKey::movieDirectors).toString().replace(QLatin1Char('\n'), QStringLiteral(", "))
        << "\n";
    out << "    " << MatchReport::line(record) << "\n";
}

} // namespace

int identify(const QStringList &arguments)
{
    const CliSupport::Arguments parsed =
        CliSupport::parseFor(QStringLiteral("identify"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (parsed.positional.isEmpty())
        return usageError(QStringLiteral("'identify' needs at least one NAME"));
    QString error;
    if (parsed.values.contains(QStringLiteral("--language"))
        && !CliSupport::applyLanguage(parsed.value(QStringLiteral("--language")), &error))
        return usageError(error);

    AnswerCache::refresh(parsed.has(QStringLiteral("--refresh")));
    QList<MovieItem> records(parsed.positional.size());
    int outstanding = int(parsed.positional.size());
    QEventLoop loop;
    for (qsizetype i = 0; i < parsed.positional.size(); ++i) {
        MovieLookup::getMovieInfo(parsed.positional.at(i), [&, i](const MovieItem &record) {
            records[i] = record;
            if (--outstanding == 0)
                loop.quit();
        });
    }
    if (outstanding > 0)
        loop.exec();

    bool allFound = true;
    for (qsizetype i = 0; i < records.size(); ++i) {
        MatchReport::warnIfNeedsReview(parsed.positional.at(i), records.at(i));
        if (records.at(i).value(ItemKey::movieTitle).toString().isEmpty()) {
            allFound = false;
            const QString failure = records.at(i).value(ItemKey::lookupFailure).toString();
            Diagnostics::error(parsed.positional.at(i)
                               + (failure.isEmpty() ? QStringLiteral(": no movie found") : QStringLiteral(": lookup failed: ") + failure));
        }
    }
    if (parsed.has(QStringLiteral("--json"))) {
        CliSupport::printJson(CliSupport::toJsonArray(records));
    } else {
        CliSupport::TextOut out;
        for (qsizetype i = 0; i < records.size(); ++i)
            printRecord(out, parsed.positional.at(i), records.at(i));
    }
    return allFound ? Success : SomeFailed;
}

} // namespace Commands
