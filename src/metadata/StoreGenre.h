#pragma once

#include "base/Json.h"
#include "base/MovieItemKeys.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class QObject;

/**
 * The store genre of a movie: the iTunes store's primary genre of the
 * feature film with the movie's title and release year, else the genre TMDb
 * gave. The lookup answers once, on the main thread, also when the store
 * fails (with the TMDb genre).
 *
 * The store allows about 20 calls a minute and answers 403 beyond, so its
 * requests wait in one queue, spaced by intervalMs(); a 403 is taken as the
 * store throttling: the request waits throttleWaitMs() and is sent once
 * more, and a second refusal gives the TMDb genre. What the store said of a
 * title and year is kept on disk ("store" in the answer cache) and asked
 * only once: lookups of the same title and year share one request.
 */
namespace StoreGenre {

using GenreCompletion = std::function<void(const MovieItem &genre)>;

/** Where a lookup joins the queue: a person waiting for it goes before an import's lookups. */
enum class Turn { Last, First };

/** The genre record ("movieGenre", "genreFound") of a movie. */
void getGenreFromiTunesStoreWithMovieTitle(const QString &movieTitle, const QString &movieReleaseYear,
                                           const QString &tmdbGenre, GenreCompletion completion, Turn turn = Turn::Last);
/** The genre record when the cache has the store's word on this title and year, without asking. */
std::optional<MovieItem> cachedGenre(const QString &movieTitle, const QString &movieReleaseYear, const QString &tmdbGenre);
/** Writes the store's movie subgenres to the diagnostics (a diagnostic aid). */
void getGenreList();

/** Lookups asked for and not answered yet. */
int pending();
/**
 * Calls @p done on the main thread once no lookup is pending (from the event
 * loop, also when none is); not when @p context was destroyed first.
 */
void whenSettled(QObject *context, std::function<void()> done);

/**
 * Called on the main thread with a sentence for a person when the store
 * keeps refusing (a 403 after the wait): it is also written as a warning.
 * The window shows it in its message bar.
 */
void setProblemListener(std::function<void(const QString &message)> listener);

/**
 * Time between two store requests: KINOVELA_STORE_INTERVAL_MS, else 3500 ms
 * (17 a minute: under the store's 20, with room for requests that bunch up
 * on their way).
 */
int intervalMs();
/** Wait after a 403 before the one retry: KINOVELA_STORE_RETRY_MS, else 60000 ms. */
int throttleWaitMs();

/** The genre record from a store answer. */
MovieItem parseGenre(const Json &answer, const QString &movieReleaseYear, const QString &tmdbGenre);
/** The store's primary genre of the feature film of that year in the answer; empty when there is none. */
QString storeGenreIn(const Json &answer, const QString &movieReleaseYear);
QUrl genreSearchUrl(const QString &movieTitle);

} // namespace StoreGenre
