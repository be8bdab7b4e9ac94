#pragma once

#include "app/FileClues.h"
#include "base/Candidates.h"
#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "base/Preset.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

class QObject;

/**
 * Everything that finds a movie's metadata, in one place: identifying a
 * movie from a file name (the import, `kinovela-cli identify`), the list of
 * a manual search, applying the candidate a person chose, and the subtitle
 * list and choice. The import, the window and the command line all call
 * these; none of them chains requests of its own.
 *
 * Each call answers once, on the main thread. Calls taking a @p context are
 * dropped when the context is destroyed first.
 */
namespace MovieLookup {

using ItemCompletion = std::function<void(const MovieItem &item)>;

/**
 * Identifies a movie from a file name without extension: the search result
 * whose title is the name, else (searching again with dots and colons as
 * spaces) the closest title with its year; then its full poster, details and
 * store genre, merged into one record. The not-found record when nothing
 * matches or a search fails; when a search could not be made (no key, a
 * refused key, an unreachable service) "lookupFailure" says why, and the
 * same sentence goes to ServiceProblems for the window's message bar.
 */
void getMovieInfo(const QString &movieName, ItemCompletion completion);

/**
 * Identifies the movie of a file: the movie a person chose for it earlier,
 * else the one an identifier beside it names (a TMDb id or an IMDb number in
 * its name, its folder's name or an .nfo file), else the name's match as
 * getMovieInfo finds it. A found movie's record also says how sure the
 * match is ("matchConfidence", "matchReasons", "needsReview" against the
 * review threshold setting).
 *
 * With @p storeGenre, for a list that must not wait for the store: the
 * record comes as soon as TMDb's part is there, with the genre the cache
 * knows or else TMDb's genre; when the store still had to be asked,
 * @p storeGenre follows with the genre record ("movieGenre", "genreFound",
 * and the "movieTMDBID" it is for) once it answers (the TMDb genre again
 * when it fails).
 */
void identify(const FileClues &clues, ItemCompletion completion, ItemCompletion storeGenre = {});

/** Store genre lookups on their way (the store is asked at most 20 times a minute). */
int storeAnswersPending();
/** Calls @p done once no store genre lookup is on its way (from the event loop); not when @p context is gone. */
void whenStoreAnswered(QObject *context, std::function<void()> done);

/** Every result of a manual search, as match records with small posters. */
void searchCandidates(const QString &text, std::function<void(const QList<MovieItem> &)> completion);

/**
 * The same search for a window: the results (possibly none), or the failure
 * when TMDb could not be asked, so that "nothing found" and "TMDb can't be
 * reached" can be told apart. Service failures are also reported to
 * ServiceProblems.
 */
void findCandidates(const QString &text, QObject *context,
                    std::function<void(const Outcome<QList<MovieItem>> &)> completion);

/** The match record (small poster) of the movie with this TMDb id, or why there is none. */
void movieById(qint64 tmdbID, std::function<void(const Outcome<MovieItem> &)> completion);

/**
 * The item after a person chose @p candidate for it: the candidate's match
 * keys (its title becomes the search string), its full poster, its details,
 * with @p preset ConvertWithSubtitles a fresh subtitle, and its store genre.
 * The match is the person's ("matchConfidence" 1) and is remembered for the
 * file (Corrections), so a later import of it takes the same movie.
 */
void applyCandidate(const MovieItem &item, const MovieItem &candidate, Preset preset, QObject *context,
                    ItemCompletion completion);

/** The subtitle stage of one item: "downloadedSubtitlePath" and "subtitleFound" set from a search and download. */
void fetchSubtitle(const MovieItem &item, QObject *context, ItemCompletion completion);

/** The subtitles offered for the item's movie, newest first. */
void getSubtitleList(const MovieItem &item, QObject *context,
                     std::function<void(const QList<SubtitleCandidate> &)> completion);

/**
 * Downloads the subtitle a person chose: the item with it, or why it could
 * not be had. The choice is remembered for the file, and the subtitle stage
 * of a later import takes it again.
 */
void applySubtitle(const MovieItem &item, const SubtitleCandidate &candidate, QObject *context,
                   std::function<void(const Outcome<MovieItem> &)> completion);

/** Newest first (by upload time text, the service's own order kept among equals). */
QList<SubtitleCandidate> sortedNewestFirst(QList<SubtitleCandidate> candidates);

} // namespace MovieLookup
