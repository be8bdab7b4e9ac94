#pragma once

#include "base/Json.h"
#include "base/MovieItemKeys.h"

#include <QString>
#include <QUrl>

#include <functional>

/**
 * The store genre of a movie: the iTunes store's primary genre of the
 * feature film with the movie's title and release year, else the genre TMDb
 * gave. The lookup answers once, on the main thread, also when the store
 * fails (with the TMDb genre).
 */
namespace StoreGenre {

using GenreCompletion = std::function<void(const MovieItem &genre)>;

/** The genre record ("movieGenre", "genreFound") of a movie. */
void getGenreFromiTunesStoreWithMovieTitle(const QString &movieTitle, const QString &movieReleaseYear,
                                           const QString &tmdbGenre, GenreCompletion completion);
/** Writes the store's movie subgenres to the diagnostics (a diagnostic aid). */
void getGenreList();

/** The genre record from a store answer. */
MovieItem parseGenre(const Json &answer, const QString &movieReleaseYear, const QString &tmdbGenre);
QUrl genreSearchUrl(const QString &movieTitle);

} // namespace StoreGenre
