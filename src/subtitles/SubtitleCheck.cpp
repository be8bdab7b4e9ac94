#include "subtitles/SubtitleCheck.h"

#include <QRegularExpression>
#include <QStringConverter>
#include <QStringDecoder>

#include <uchardet/uchardet.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <optional>

namespace SubtitleCheck {

namespace {

// Larger files are not subtitles of one movie (a long film's SubRip file is well under 1 MB).
constexpr qsizetype MaxBytes = 8 * 1024 * 1024;

using Times = std::optional<std::pair<double, double>>;
using TimeLine = std::function<Times(const QString &line)>;

double clock(const QString &hours, const QString &minutes, const QString &seconds, const QString &fraction)
{
    const double part = fraction.isEmpty() ? 0 : fraction.toDouble() / std::pow(10.0, fraction.size());
    return hours.toDouble() * 3600 + minutes.toDouble() * 60 + seconds.toDouble() + part;
}

// A time line of two clock times with a separator between them; the captures are h, m, s, fraction, twice.
TimeLine clockLine(const QString &pattern)
{
    const auto expression = std::make_shared<QRegularExpression>(pattern);
    return [expression](const QString &line) -> Times {
        const QRegularExpressionMatch m = expression->match(line);
        if (!m.hasMatch())
            return std::nullopt;
        return std::pair{clock(m.captured(1), m.captured(2), m.captured(3), m.captured(4)),
                         clock(m.captured(5), m.captured(6), m.captured(7), m.captured(8))};
    };
}

QString plainText(QString text)
{
    static const QRegularExpression tags(QStringLiteral("<[^>]*>|\\{[^}]*\\}|\\[br\\]|\\\\N|\\\\n"));
    return text.replace(tags, QStringLiteral(" ")).simplified();
}

// SubRip, WebVTT and SubViewer: a time line, then text lines up to a blank line.
QList<Cue> blockCues(const QStringList &lines, const TimeLine &timeLine)
{
    QList<Cue> cues;
    bool inCue = false;
    for (const QString &line : lines) {
        if (const Times times = timeLine(line)) {
            cues.append(Cue{times->first, times->second, QString()});
            inCue = true;
        } else if (line.trimmed().isEmpty()) {
            inCue = false;
        } else if (inCue) {
            cues.last().text += (cues.last().text.isEmpty() ? QString() : QStringLiteral("\n")) + line.trimmed();
        }
    }
    return cues;
}

QList<Cue> microDvdCues(const QStringList &lines)
{
    static const QRegularExpression cueLine(QStringLiteral("^\\{(\\d+)\\}\\{(\\d+)\\}(.*)$"));
    QList<Cue> cues;
    double framesPerSecond = 23.976;
    for (const QString &line : lines) {
        const QRegularExpressionMatch m = cueLine.match(line.trimmed());
        if (!m.hasMatch())
            continue;
        const double start = m.captured(1).toDouble();
        const double end = m.captured(2).toDouble();
        // "{1}{1}25" names the frame rate rather than a cue.
        bool isRate = false;
        const double rate = m.captured(3).toDouble(&isRate);
        if (cues.isEmpty() && start <= 1 && end <= 1 && isRate && rate > 1 && rate < 200) {
            framesPerSecond = rate;
            continue;
        }
        cues.append(Cue{start / framesPerSecond, end / framesPerSecond, m.captured(3).replace(QLatin1Char('|'), QLatin1Char('\n'))});
    }
    return cues;
}

std::optional<double> assTime(const QString &text)
{
    static const QRegularExpression time(QStringLiteral("^\\s*(\\d+):(\\d{1,2}):(\\d{1,2})(?:\\.(\\d{1,3}))?\\s*$"));
    const QRegularExpressionMatch m = time.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    return clock(m.captured(1), m.captured(2), m.captured(3), m.captured(4));
}

Outcome<QList<Cue>> assCues(const QStringList &lines)
{
    QStringList fields;
    bool inEvents = false;
    QList<Cue> cues;
    for (const QString &raw : lines) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inEvents = line.compare(QLatin1String("[Events]"), Qt::CaseInsensitive) == 0;
        else if (inEvents && line.startsWith(QLatin1String("Format:"), Qt::CaseInsensitive))
            fields = line.mid(7).split(QLatin1Char(','));
        else if (inEvents && line.startsWith(QLatin1String("Dialogue:"), Qt::CaseInsensitive)) {
            const qsizetype textField = fields.size() - 1;
            QStringList values = line.mid(9).split(QLatin1Char(','));
            if (fields.isEmpty() || values.size() < fields.size())
                return failure(ErrorKind::Invalid, QStringLiteral("a Dialogue line does not match the Format line"));
            const QString text = values.mid(textField).join(QLatin1Char(','));
            const auto column = [&fields](const char *name) {
                return fields.indexOf(QRegularExpression(QStringLiteral("^\\s*") + QLatin1String(name) + QStringLiteral("\\s*$"),
                                                         QRegularExpression::CaseInsensitiveOption));
            };
            const auto start = assTime(values.value(column("Start")));
            const auto end = assTime(values.value(column("End")));
            if (!start || !end)
                return failure(ErrorKind::Invalid, QStringLiteral("a Dialogue line has no readable times"));
            cues.append(Cue{*start, *end, text});
        }
    }
    // Events of these files are independent of each other; their order in the file is free.
    std::stable_sort(cues.begin(), cues.end(), [](const Cue &a, const Cue &b) { return a.start < b.start; });
    return cues;
}

Status inOrder(const QList<Cue> &cues)
{
    for (qsizetype i = 0; i < cues.size(); ++i) {
        if (cues.at(i).end < cues.at(i).start)
            return failure(ErrorKind::Invalid, QStringLiteral("cue %1 ends before it starts").arg(i + 1));
        if (i > 0 && cues.at(i).start < cues.at(i - 1).start)
            return failure(ErrorKind::Invalid, QStringLiteral("cue %1 starts before the cue ahead of it").arg(i + 1));
    }
    return {};
}

QList<Format> claimed(const QString &claimedFormat)
{
    const QString word = claimedFormat.toLower();
    if (word == QLatin1String("srt") || word == QLatin1String("subrip"))
        return {Format::SubRip};
    if (word == QLatin1String("sub"))
        return {Format::MicroDVD, Format::SubViewer};
    if (word == QLatin1String("vtt") || word == QLatin1String("webvtt"))
        return {Format::WebVTT};
    if (word == QLatin1String("ass") || word == QLatin1String("ssa"))
        return {Format::Ass};
    if (word.isEmpty())
        return {Format::SubRip, Format::WebVTT, Format::Ass, Format::MicroDVD, Format::SubViewer};
    return {};
}

QString clockText(double seconds)
{
    const qint64 whole = qint64(seconds);
    return QStringLiteral("%1:%2:%3").arg(whole / 3600).arg(whole / 60 % 60, 2, 10, QLatin1Char('0')).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

Outcome<QString> decode(const QByteArray &bytes, QString *charset)
{
    if (bytes.size() > MaxBytes)
        return failure(ErrorKind::Invalid, QStringLiteral("the file is too large for a subtitle"));
    const std::optional<QStringConverter::Encoding> marked = QStringConverter::encodingForData(bytes);
    QByteArray name = marked ? QByteArray(QStringConverter::nameForEncoding(*marked)) : QByteArray();
    if (!marked && bytes.contains('\0'))
        return failure(ErrorKind::Invalid, QStringLiteral("the file holds binary data, not text"));
    if (!marked) {
        QStringDecoder utf8(QStringConverter::Utf8);
        const QString text = utf8(bytes);
        if (!utf8.hasError()) {
            name = "UTF-8";
        } else {
            uchardet_t detector = uchardet_new();
            uchardet_handle_data(detector, bytes.constData(), size_t(bytes.size()));
            uchardet_data_end(detector);
            name = QByteArray(uchardet_get_charset(detector)).toUpper();
            uchardet_delete(detector);
        }
    }
    QStringDecoder decoder(name.constData(), QStringConverter::Flag::Stateless);
    if (!decoder.isValid()) {
        decoder = QStringDecoder(QStringConverter::Latin1);
        name = "ISO-8859-1";
    }
    QString text = decoder(bytes);
    if (text.startsWith(QChar(0xfeff)))
        text.remove(0, 1);
    const auto controls = std::count_if(text.cbegin(), text.cend(), [](QChar c) {
        return c.unicode() < 0x20 && c != QLatin1Char('\n') && c != QLatin1Char('\r') && c != QLatin1Char('\t');
    });
    if (text.contains(QChar(0)) || controls * 100 > text.size())
        return failure(ErrorKind::Invalid, QStringLiteral("the file holds binary data, not text"));
    if (charset)
        *charset = QString::fromLatin1(name);
    return text;
}

Outcome<QList<Cue>> parse(const QString &text, Format format)
{
    QString normalized = text;
    normalized.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(QLatin1Char('\r'), QLatin1Char('\n'));
    const QStringList lines = normalized.split(QLatin1Char('\n'));
    Outcome<QList<Cue>> cues = QList<Cue>();
    switch (format) {
    case Format::SubRip:
        cues = blockCues(lines, clockLine(QStringLiteral("^\\s*(\\d{1,2}):(\\d{2}):(\\d{2})[,.](\\d{1,3})\\s*-->\\s*"
                                                         "(\\d{1,2}):(\\d{2}):(\\d{2})[,.](\\d{1,3})")));
        break;
    case Format::WebVTT:
        if (normalized.startsWith(QLatin1String("WEBVTT")))
            cues = blockCues(lines, clockLine(QStringLiteral("^\\s*(?:(\\d+):)?(\\d{2}):(\\d{2})\\.(\\d{3})\\s+-->\\s+"
                                                             "(?:(\\d+):)?(\\d{2}):(\\d{2})\\.(\\d{3})")));
        break;
    case Format::SubViewer:
        cues = blockCues(lines, clockLine(QStringLiteral("^\\s*(\\d{1,2}):(\\d{2}):(\\d{2})\\.(\\d{1,3})\\s*,\\s*"
                                                         "(\\d{1,2}):(\\d{2}):(\\d{2})\\.(\\d{1,3})\\s*$")));
        break;
    case Format::MicroDVD: cues = microDvdCues(lines); break;
    case Format::Ass:
        if (normalized.contains(QLatin1String("[Events]"), Qt::CaseInsensitive))
            cues = assCues(lines);
        break;
    }
    if (!cues)
        return cues;
    if (cues->isEmpty())
        return failure(ErrorKind::Invalid, QStringLiteral("no %1 cues in it").arg(formatName(format)));
    if (const Status order = inOrder(*cues); !order)
        return order.error();
    return cues;
}

bool isAdvertisement(const QString &text)
{
    static const QStringList markers{
        QStringLiteral("osdb.link/"),
        QStringLiteral("opensubtitles.org vip"),
        QStringLiteral("become vip member"),
        QStringLiteral("advertise your product or brand here"),
        QStringLiteral("remove all ads from"),
        QStringLiteral("subtitles downloaded from www.opensubtitles"),
        QStringLiteral("please rate this subtitle at"),
        QStringLiteral("api.opensubtitles.org is deprecated"),
    };
    const QString plain = plainText(text).toLower();
    return std::any_of(markers.cbegin(), markers.cend(), [&plain](const QString &marker) { return plain.contains(marker); });
}

Outcome<Checked> check(const QByteArray &bytes, const QString &claimedFormat, double movieDurationInSeconds)
{
    Checked checked;
    const Outcome<QString> text = decode(bytes, &checked.charset);
    if (!text)
        return text.error();
    const QList<Format> formats = claimed(claimedFormat);
    if (formats.isEmpty())
        return failure(ErrorKind::Invalid, QStringLiteral("\"%1\" is not a subtitle format Kinovela can put into a movie").arg(claimedFormat));
    Outcome<QList<Cue>> cues = failure(ErrorKind::Invalid, QString());
    for (const Format format : formats) {
        cues = parse(*text, format);
        checked.format = format;
        if (cues)
            break;
    }
    const bool advertisement = isAdvertisement(*text);
    if (!cues)
        return failure(ErrorKind::Invalid, advertisement ? QStringLiteral("the service sent an advertisement in place of the subtitle")
                                                         : QStringLiteral("not a %1 subtitle: %2").arg(claimedFormat, cues.errorText()));
    for (const Cue &cue : *cues) {
        if (!plainText(cue.text).isEmpty() && !isAdvertisement(cue.text))
            ++checked.cueCount;
        checked.lastCueEnd = std::max(checked.lastCueEnd, cue.end);
    }
    if (checked.cueCount < MinimumCues)
        return failure(ErrorKind::Invalid, advertisement ? QStringLiteral("the service sent an advertisement in place of the subtitle")
                                                         : QStringLiteral("only %1 cue(s) with text, not a movie's subtitle").arg(checked.cueCount));
    if (movieDurationInSeconds > 0 && checked.lastCueEnd > movieDurationInSeconds + DurationTolerance)
        return failure(ErrorKind::Invalid, QStringLiteral("its last line is at %1, after the movie's end at %2: made for another cut or film")
                                               .arg(clockText(checked.lastCueEnd), clockText(movieDurationInSeconds)));
    checked.utf8 = text->toUtf8();
    return checked;
}

QString extension(Format format)
{
    switch (format) {
    case Format::SubRip: return QStringLiteral("srt");
    case Format::MicroDVD: return QStringLiteral("sub");
    case Format::SubViewer: return QStringLiteral("sbv");
    case Format::WebVTT: return QStringLiteral("vtt");
    case Format::Ass: return QStringLiteral("ass");
    }
    return QStringLiteral("srt");
}

QString formatName(Format format)
{
    switch (format) {
    case Format::SubRip: return QStringLiteral("SubRip");
    case Format::MicroDVD: return QStringLiteral("MicroDVD");
    case Format::SubViewer: return QStringLiteral("SubViewer");
    case Format::WebVTT: return QStringLiteral("WebVTT");
    case Format::Ass: return QStringLiteral("ASS/SSA");
    }
    return QString();
}

} // namespace SubtitleCheck
