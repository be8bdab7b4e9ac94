#pragma once

#include "base/ItemImage.h"
#include "base/Json.h"
#include "base/MovieItemKeys.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>

struct HttpResponse;

/**
 * The client of The Movie Database (API v3) and of the iTunes store genre
 * lookup: identifies a movie from a file name, fetches its details, genre
 * and posters.
 *
 * Every call returns at once and calls its completion exactly once, on the
 * main thread, also when a request fails (with the not-found record, the
 * record as far as it got, the TMDb genre or an empty list). Nothing
 * blocks: posters are downloaded asynchronously too. A TMDB object may be
 * destroyed right after a call; each call carries its own state.
 */
class TMDB
{
public:
    TMDB();

    /** The TMDb API key (KINOVELA_TMDB_API_KEY or the application's own). */
    QString API_KEY;

    using RecordCompletion = std::function<void(const MovieItem &record)>;
    using RecordListCompletion = std::function<void(const QList<MovieItem> &records)>;

    /** Match (exact title, then closest title) merged with details and genre, or the not-found record. */
    void getMovieInfo(const QString &movieName, RecordCompletion completion);
    /** Every result of one search as a match record (small posters), in TMDb's order. */
    void getMovieListForSearchString(const QString &searchString, RecordListCompletion completion);
    /** The 13-entry details record (the defaults when the request fails). */
    void getMoreMovieDataWithMovieTMDBID(qint64 tmdbID, RecordCompletion completion);
    /** The genre record: the store's genre of the movie's year, else the TMDb genre. */
    void getGenreFromiTunesStoreWithMovieTitle(const QString &movieTitle, const QString &movieReleaseYear,
                                               const QString &tmdbGenre, RecordCompletion completion);
    /** Poster choices ("posterImage", "moviePosterPath") in the search language. */
    void getThumbnailsWithTmdbID(qint64 tmdbID, RecordListCompletion completion);
    /** The full-size poster, or "pnf". */
    void getHighResPosterWithPosterPath(const QString &posterPath, std::function<void(const ItemImage &)> completion);

    /** Runs `closure` on the main thread after `seconds`. */
    static void delay(double seconds, std::function<void()> closure);
    /** Writes the store's movie subgenres to the diagnostics (a diagnostic aid). */
    static void getGenreList();

    // Pure parts, for tests.
    static MovieItem notFoundRecord();
    static MovieItem defaultDetailsRecord();
    /** Percent-encoding with the URL query-allowed set: '&', '=', '?' stay as they are. */
    static QString encodeQueryText(const QString &text);
    /** The details record of a movie details answer. */
    static MovieItem parseDetails(const Json &answer);
    /** The index of the exact-title result, or -1. */
    static qsizetype exactTitleIndex(const Json &answer, const QString &movieName);
    /** The index of the result whose title + year is closest to the name (first on ties), or -1. */
    static qsizetype closestTitleIndex(const Json &answer, const QString &movieName);
    /** The match record of one search result (without its poster image). */
    static MovieItem matchRecord(const Json &result, const QString &languageName, bool emptyLanguageWhenNoId);
    /** The genre record from a store answer. */
    static MovieItem parseGenre(const Json &answer, const QString &movieReleaseYear, const QString &tmdbGenre);
    /** The poster paths in the search language, in TMDb's order. */
    static QStringList posterPathsInLanguage(const Json &answer, const QString &alpha2);

    QUrl searchUrl(const QString &query, const QString &alpha2) const;
    QUrl detailsUrl(qint64 tmdbID, const QString &alpha2) const;
    QUrl postersUrl(qint64 tmdbID, const QString &alpha2) const;
    static QUrl imageUrl(const QString &size, const QString &posterPath);
    static QUrl genreSearchUrl(const QString &movieTitle);
};
