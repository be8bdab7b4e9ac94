#pragma once

#include "base/MovieItemKeys.h"

#include <QString>
#include <QStringList>

/**
 * How sure a match is, from signals the lookup already has: how the movie
 * was found (its exact title, the closest title, an identifier beside the
 * file, a person's earlier choice), the year in the file name against the
 * release year, and the file's duration against TMDb's runtime. A pure
 * function, so the weights can be read and tested in one place.
 */
namespace MatchConfidence {

/** How the movie was found. */
enum class Source {
    ExactTitle,   ///< a search result's title is the file name
    ClosestTitle, ///< the result whose title and year are closest to the name
    Identifier,   ///< a TMDb id or IMDb number beside the file
    Remembered,   ///< the movie a person chose for this file before
};

struct Signals
{
    Source source = Source::ExactTitle;
    /** The title part of the file name (NameClues::titleIn). */
    QString nameTitle;
    QString movieTitle;
    /** The year in the file name, 0 when none. */
    int nameYear = 0;
    /** The movie's release year, 0 when unknown. */
    int releaseYear = 0;
    /** The file's duration in seconds, 0 when unknown. */
    double durationSeconds = 0;
    /** TMDb's runtime in minutes, 0 when unknown. */
    int runtimeMinutes = 0;
    /** With Source::Identifier: where it was found, "IMDb number tt0133093 in the folder name". */
    QString identifierReason;
};

struct Result
{
    double confidence = 0;
    QStringList reasons;
};

/** Confidence from 0 to 1 (two decimals) and one short sentence per signal used. */
Result score(const Signals &signals);

/** Below the threshold a match needs review. */
bool needsReview(double confidence, double threshold);

/** Writes "matchConfidence", "matchReasons" and "needsReview" into @p item. */
void apply(MovieItem &item, const Result &result, double threshold);

/** The same keys for a movie a person chose just now. */
void applyPersonsChoice(MovieItem &item);

/** "2:16:01". */
QString clockText(double seconds);

} // namespace MatchConfidence
