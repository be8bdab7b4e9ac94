#include "app/MatchConfidence.h"

#include "media/Levenshtein.h"
#include "media/NameClues.h"

#include <QVariant>

#include <algorithm>
#include <cmath>

namespace MatchConfidence {
namespace {

// A name with a year that disagrees, or a duration far from the runtime, takes a match below any sensible threshold.
constexpr double Disagreement = 0.45;
// Something that cannot be checked (no year in the name) costs a little.
constexpr double Unchecked = 0.9;
// A closest-title match is a guess even when the titles agree.
constexpr double ClosestTitle = 0.95;
// A duration a little off the runtime (another cut, another frame rate).
constexpr double SlightlyOff = 0.8;

QString plural(qint64 count, const char *one, const char *many)
{
    return QString::number(count) + QLatin1Char(' ') + QString::fromLatin1(count == 1 ? one : many);
}

double titleFactor(const Signals &s, QStringList &reasons)
{
    switch (s.source) {
    case Source::ExactTitle: reasons.append(QStringLiteral("title matched exactly")); return 1.0;
    case Source::Identifier: reasons.append(s.identifierReason); return 1.0;
    case Source::Remembered: reasons.append(QStringLiteral("your earlier choice for this file")); return 1.0;
    case Source::ClosestTitle: break;
    }
    const QString movie = NameClues::folded(s.movieTitle);
    const qint64 distance = Levenshtein::distance(s.nameTitle, movie);
    const qint64 length = std::max<qint64>({s.nameTitle.size(), movie.size(), 1});
    if (distance == 0) {
        reasons.append(QStringLiteral("closest title \u201c%1\u201d matches the name").arg(s.movieTitle));
    } else {
        reasons.append(QStringLiteral("closest title \u201c%1\u201d differs from \u201c%2\u201d in the name by %3 of %4")
                           .arg(s.movieTitle, s.nameTitle, QString::number(distance),
                                plural(length, "character", "characters")));
    }
    return ClosestTitle * std::max(0.0, 1.0 - double(distance) / double(length));
}

double yearFactor(const Signals &s, QStringList &reasons)
{
    if (s.nameYear == 0) {
        reasons.append(QStringLiteral("no year in the name"));
        return Unchecked;
    }
    if (s.releaseYear == 0) {
        reasons.append(QStringLiteral("TMDb gives no release year to compare with %1 in the name").arg(s.nameYear));
        return Unchecked;
    }
    const int apart = std::abs(s.nameYear - s.releaseYear);
    if (apart == 0) {
        reasons.append(QStringLiteral("year %1 in the name matches the release year").arg(s.nameYear));
        return 1.0;
    }
    if (apart == 1) {
        reasons.append(QStringLiteral("year %1 in the name is within a year of the release year %2")
                           .arg(s.nameYear)
                           .arg(s.releaseYear));
        return 1.0;
    }
    reasons.append(
        QStringLiteral("year %1 in the name differs from the release year %2").arg(s.nameYear).arg(s.releaseYear));
    return Disagreement;
}

double durationFactor(const Signals &s, QStringList &reasons)
{
    if (!(s.durationSeconds > 0) || s.runtimeMinutes <= 0)
        return 1.0;
    const double runtime = s.runtimeMinutes * 60.0;
    const double off = std::abs(s.durationSeconds - runtime);
    const QString duration = clockText(s.durationSeconds);
    const QString runtimeText = QStringLiteral("the runtime %1 min").arg(s.runtimeMinutes);
    if (off <= std::max(180.0, 0.05 * runtime)) {
        const qint64 minutes = std::max<qint64>(1, qint64(std::ceil(off / 60.0)));
        reasons.append(QStringLiteral("duration %1 is within %2 of %3")
                           .arg(duration, plural(minutes, "minute", "minutes"), runtimeText));
        return 1.0;
    }
    if (off <= std::max(900.0, 0.15 * runtime)) {
        const qint64 minutes = qint64(std::lround(off / 60.0));
        reasons.append(
            QStringLiteral("duration %1 is %2 off %3").arg(duration, plural(minutes, "minute", "minutes"), runtimeText));
        return SlightlyOff;
    }
    reasons.append(QStringLiteral("duration %1 is far from %2").arg(duration, runtimeText));
    return Disagreement;
}

} // namespace

Result score(const Signals &signals)
{
    Result result;
    const double title = titleFactor(signals, result.reasons);
    const double year = yearFactor(signals, result.reasons);
    const double duration = durationFactor(signals, result.reasons);
    // A person's own choice stands whatever the name says; the other reasons stay as information.
    const double confidence = signals.source == Source::Remembered ? 1.0 : title * year * duration;
    result.confidence = std::round(std::clamp(confidence, 0.0, 1.0) * 100.0) / 100.0;
    return result;
}

bool needsReview(double confidence, double threshold)
{
    return confidence < threshold;
}

void apply(MovieItem &item, const Result &result, double threshold)
{
    item.insert(ItemKey::matchConfidence, result.confidence);
    item.insert(ItemKey::matchReasons, result.reasons);
    item.insert(ItemKey::needsReview, needsReview(result.confidence, threshold));
}

void applyPersonsChoice(MovieItem &item)
{
    apply(item, Result{1.0, {QStringLiteral("chosen by you")}}, 0.0);
}

QString clockText(double seconds)
{
    const qint64 total = std::llround(std::max(seconds, 0.0));
    return QStringLiteral("%1:%2:%3")
        .arg(total / 3600)
        .arg(total / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(total % 60, 2, 10, QLatin1Char('0'));
}

} // namespace MatchConfidence
