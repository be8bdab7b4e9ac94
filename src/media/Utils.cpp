#include "media/Utils.h"

#include "base/Diagnostics.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace {

// Truncation toward zero that never overflows: values outside the 64-bit
// range (or not finite) are clamped, so the formatters cannot be made to fail.
qint64 truncated(double seconds)
{
    if (!std::isfinite(seconds))
        return 0;
    constexpr double limit = 9.2e18;
    if (seconds >= limit)
        return std::numeric_limits<qint64>::max();
    if (seconds <= -limit)
        return std::numeric_limits<qint64>::min();
    return qint64(seconds);
}

QString twoDigits(qint64 value)
{
    return value < 10 ? QLatin1Char('0') + QString::number(value) : QString::number(value);
}

} // namespace

QStringList Utils::getMatchesForRegex(const QString &pattern, const QString &text)
{
    const QRegularExpression expression(pattern);
    if (!expression.isValid()) {
        Diagnostics::write(QStringLiteral("invalid regex: ") + expression.errorString());
        return {};
    }
    QStringList matches;
    auto it = expression.globalMatch(text);
    while (it.hasNext())
        matches.append(it.next().captured(0));
    return matches;
}

double Utils::getSecondsFromTimeString(const QString &time)
{
    const QStringList pieces = time.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (pieces.isEmpty())
        return 0;
    const double hundredths = pieces.size() > 1 ? pieces.last().toDouble() : 0;
    const QStringList clock = pieces.first().split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (clock.isEmpty())
        return 0;
    const double hours = clock.size() > 1 ? clock.at(0).toDouble() : 0;
    const double minutes = clock.size() > 2 ? clock.at(1).toDouble() : 0;
    const double seconds = clock.last().toDouble();
    const double total = hours * 3600 + minutes * 60 + seconds + hundredths / 100;
    return std::isfinite(total) ? total : 0;
}

QString Utils::getTimeStringFromSeconds(double seconds)
{
    const qint64 whole = truncated(seconds);
    const QString rounded = QString::asprintf("%.2f", std::isfinite(seconds) ? seconds : 0.0);
    const QString fraction = rounded.section(QLatin1Char('.'), 1, 1);
    const qint64 hours = whole / 3600;
    const qint64 minutes = (whole / 60) % 60;
    const qint64 secs = whole % 60;
    return twoDigits(hours) + QLatin1Char(':') + twoDigits(minutes) + QLatin1Char(':') + twoDigits(secs)
        + QLatin1Char('.') + fraction;
}

QString Utils::getBeautifiedDurationFromSeconds(double seconds)
{
    const qint64 whole = truncated(seconds);
    const qint64 hours = whole / 3600;
    const qint64 minutes = (whole / 60) % 60;
    QString text;
    if (hours == 1)
        text = QStringLiteral("1 Hr ");
    else if (hours > 1)
        text = QString::number(hours) + QStringLiteral(" Hrs ");
    if (minutes != 0)
        text += QString::number(minutes) + QStringLiteral(" Min");
    return text;
}
