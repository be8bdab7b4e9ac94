#pragma once

#include "base/Candidates.h"
#include "base/ItemImage.h"
#include "base/Json.h"
#include "base/MovieItemKeys.h"
#include "base/Outcome.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>

class AnswerCache;
struct HttpRequest;

/**
 * The requests to The Movie Database (API v3) and their addresses: movie
 * search, the search list, details, poster choices and posters. The
 * answers are read by TmdbAnswers; identifying a movie from a file name is
 * the recipe of MovieLookup, built on these requests.
 *
 * Every call returns at once and calls its completion exactly once, on the
 * main thread, also when a request fails (with the defaults of the record,
 * an empty list or the "pnf" picture). A TMDB object may be destroyed right
 * after a call; each call carries its own state.
 */
class TMDB
{
public:
    /** A client with the configured credential (ServiceConfig::tmdbApiKey()). */
    TMDB();
    /** A client with this credential: a v3 API key (sent as "api_key") or a v4 read access token (a Bearer header). */
    explicit TMDB(QString apiKey);

    bool hasKey() const { return !m_apiKey.isEmpty(); }
    /** A v4 read access token (a JSON web token) rather than a v3 key. */
    static bool isReadAccessToken(const QString &key);

    using JsonCompletion = std::function<void(const Outcome<Json> &answer)>;
    using RecordCompletion = std::function<void(const MovieItem &record)>;
    using RecordListCompletion = std::function<void(const QList<MovieItem> &records)>;
    using PosterCompletion = std::function<void(const ItemImage &poster)>;

    /** The search answer for @p query in the language @p alpha2. */
    void searchMovies(const QString &query, const QString &alpha2, JsonCompletion completion) const;
    /** Every result of one search as a match record (small posters), in TMDb's order; empty when the search fails. */
    void getMovieListForSearchString(const QString &searchString, RecordListCompletion completion) const;
    /** The same list, or the failure of the search (so "nothing found" and "TMDb can't be reached" differ). */
    void findMovieList(const QString &searchString, std::function<void(const Outcome<QList<MovieItem>> &)> completion) const;
    /** The 13-entry details record (the defaults when the request fails). */
    void getMoreMovieDataWithMovieTMDBID(qint64 tmdbID, RecordCompletion completion) const;
    /** The details answer itself (for what the details record leaves out, such as "runtime"). */
    void getDetails(qint64 tmdbID, JsonCompletion completion) const;
    /** The answer of TMDb's find request for an IMDb number ("tt0133093"): its "movie_results". */
    void findByImdbID(const QString &imdbID, JsonCompletion completion) const;
    /** Poster choices in the search language, with small pictures. */
    void getThumbnailsWithTmdbID(qint64 tmdbID, std::function<void(const QList<PosterChoice> &)> completion) const;
    /** The full-size poster, or "pnf". */
    static void getHighResPosterWithPosterPath(const QString &posterPath, PosterCompletion completion);
    /** The poster at @p size ("original", "w154", "w92"), or "pnf" when it cannot be had. */
    static void getPoster(const QString &size, const QString &posterPath, PosterCompletion completion);

    /** Runs `closure` on the main thread after `seconds`. */
    static void delay(double seconds, std::function<void()> closure);

    /** A query value, percent-encoded: everything but letters, digits and "-._~" ("&" and "=" included). */
    static QString encodeQueryText(const QString &text);
    /** A request for a JSON answer of TMDb or the store: JSON accepted, one retry after a 429. */
    static HttpRequest jsonRequest(const QUrl &url);
    /** A JSON request to TMDb carrying this client's credential. */
    HttpRequest authorizedRequest(const QUrl &url) const;
    /** @p url as it may be logged: without its "api_key". */
    static QString loggable(const QUrl &url);

    QUrl searchUrl(const QString &query, const QString &alpha2) const;
    QUrl detailsUrl(qint64 tmdbID, const QString &alpha2) const;
    QUrl postersUrl(qint64 tmdbID, const QString &alpha2) const;
    QUrl findUrl(const QString &imdbID, const QString &alpha2) const;
    static QUrl imageUrl(const QString &size, const QString &posterPath);

    /** The answers of TMDb kept on disk ("tmdb"), keyed by the loggable address. */
    static const AnswerCache &cache();

private:
    /** The JSON answer at @p url: from the cache when it has it, else asked with this client's credential and stored. */
    void getJson(const QUrl &url, JsonCompletion completion) const;
    /** "api_key=KEY&" for a v3 key; empty for a read access token, which travels in a header. */
    QString keyParameter() const;

    QString m_apiKey;
};
