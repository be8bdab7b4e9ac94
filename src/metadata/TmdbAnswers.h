#pragma once

#include "base/Json.h"
#include "base/MovieItemKeys.h"

#include <QStringList>

/**
 * Readers of The Movie Database's answers: pure functions from a decoded
 * answer to the records a movie item takes, so tests feed them recorded or
 * made-up answers.
 */
namespace TmdbAnswers {

/** The record of a movie that was not found: empty match keys and the "mnf" picture. */
MovieItem notFoundRecord();
/** The 13-entry details record a failed details request gives: empty texts and the "blank" rating badge. */
MovieItem defaultDetailsRecord();
/** The details record of a movie details answer. */
MovieItem parseDetails(const Json &answer);
/** The index of the exact-title result, or -1. */
qsizetype exactTitleIndex(const Json &answer, const QString &movieName);
/** The index of the result whose title + year is closest to the name (first on ties), or -1. */
qsizetype closestTitleIndex(const Json &answer, const QString &movieName);
/** The match record of one search result, with the "pnf" picture until its poster arrives. */
MovieItem matchRecord(const Json &result, const QString &languageName, bool emptyLanguageWhenNoId);
/** The "runtime" of a details answer in minutes, 0 when TMDb gives none. */
int runtimeMinutes(const Json &answer);
/** The first movie of a find answer ("movie_results"); a null value when it found none. */
Json foundMovie(const Json &answer);
/** The poster paths in the language @p alpha2, in TMDb's order. */
QStringList posterPathsInLanguage(const Json &answer, const QString &alpha2);

} // namespace TmdbAnswers
