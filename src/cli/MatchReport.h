#pragma once

#include "base/MovieItemKeys.h"

#include <QString>

/** How the command line shows a match's confidence and the matches that need review. */
namespace MatchReport {

/**
 * "match 0.95: title matched exactly; ..." or "NEEDS REVIEW, match 0.45:
 * ...", without indentation; empty for an item without a confidence (a
 * movie that was not found).
 */
QString line(const MovieItem &item);

/** A warning on standard error when the match of @p item (listed as @p name) needs review. */
void warnIfNeedsReview(const QString &name, const MovieItem &item);

} // namespace MatchReport
