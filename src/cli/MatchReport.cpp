#include "cli/MatchReport.h"

#include "base/Diagnostics.h"

namespace MatchReport {

QString line(const MovieItem &item)
{
    if (!item.contains(ItemKey::matchConfidence))
        return {};
    const QString confidence = QString::number(item.value(ItemKey::matchConfidence).toDouble(), 'f', 2);
    const QString reasons = item.value(ItemKey::matchReasons).toStringList().join(QStringLiteral("; "));
    const QString head = item.value(ItemKey::needsReview).toBool() ? QStringLiteral("NEEDS REVIEW, match ")
                                                                   : QStringLiteral("match ");
    return head + confidence + QStringLiteral(": ") + reasons;
}

void warnIfNeedsReview(const QString &name, const MovieItem &item)
{
    if (!item.value(ItemKey::needsReview).toBool())
        return;
    Diagnostics::warn(QStringLiteral("%1: needs review: matched to %2 (%3) with confidence %4: %5")
                          .arg(name, item.value(ItemKey::movieTitle).toString(),
                               item.value(ItemKey::movieReleaseYear).toString(),
                               QString::number(item.value(ItemKey::matchConfidence).toDouble(), 'f', 2),
                               item.value(ItemKey::matchReasons).toStringList().join(QStringLiteral("; "))));
}

} // namespace MatchReport
