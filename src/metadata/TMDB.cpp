#include "metadata/TMDB.h"

#include "base/AnswerCache.h"
#include "base/Diagnostics.h"
#include "base/HttpClient.h"
#include "base/SearchLanguage.h"
#include "base/ServiceConfig.h"
#include "metadata/TmdbAnswers.h"

#include <QCoreApplication>
#include <QTimer>
#include <QUrlQuery>

#include <memory>

namespace {

// TMDb asks overloaded clients to come back later; one retry, waiting at most this long.
constexpr int MaxRetryAfterSeconds = 10;

QObject *mainContext()
{
    return QCoreApplication::instance();
}

QVariant imageValue(const ItemImage &image)
{
    return QVariant::fromValue(image);
}

/** Calls @p each(i, done) for every index; @p completion follows once every `done` was called. */
void forEachThen(qsizetype count, const std::function<void(qsizetype, std::function<void()>)> &each,
                 std::function<void()> completion)
{
    auto pending = std::make_shared<qsizetype>(count);
    for (qsizetype i = 0; i < count; ++i) {
        each(i, [pending, completion] {
            if (--*pending == 0)
                completion();
        });
    }
}

} // namespace

TMDB::TMDB()
    : m_apiKey(ServiceConfig::tmdbApiKey())
{
}

TMDB::TMDB(QString apiKey)
    : m_apiKey(std::move(apiKey))
{
}

bool TMDB::isReadAccessToken(const QString &key)
{
    return key.startsWith(QLatin1String("eyJ")) && key.count(QLatin1Char('.')) == 2;
}

QString TMDB::encodeQueryText(const QString &text)
{
    return QString::fromLatin1(text.toUtf8().toPercentEncoding());
}

HttpRequest TMDB::authorizedRequest(const QUrl &url) const
{
    HttpRequest request = jsonRequest(url);
    if (isReadAccessToken(m_apiKey))
        request.headers.append({QByteArrayLiteral("Authorization"), "Bearer " + m_apiKey.toUtf8()});
    return request;
}

QString TMDB::loggable(const QUrl &url)
{
    QUrl shown = url;
    QUrlQuery query(shown);
    query.removeAllQueryItems(QStringLiteral("api_key"));
    shown.setQuery(query);
    return QString::fromUtf8(shown.toEncoded());
}

QString TMDB::keyParameter() const
{
    return isReadAccessToken(m_apiKey) ? QString() : QStringLiteral("api_key=") + encodeQueryText(m_apiKey) + QLatin1Char('&');
}

HttpRequest TMDB::jsonRequest(const QUrl &url)
{
    HttpRequest request;
    request.url = url;
    request.maxRetryAfterSeconds = MaxRetryAfterSeconds;
    request.headers.append({QByteArrayLiteral("Accept"), QByteArrayLiteral("application/json")});
    return request;
}

QUrl TMDB::searchUrl(const QString &query, const QString &alpha2) const
{
    const QString text = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/search/movie?") + keyParameter()
        + QStringLiteral("query=") + encodeQueryText(query) + QStringLiteral("&language=") + encodeQueryText(alpha2);
    return QUrl::fromEncoded(text.toUtf8());
}

QUrl TMDB::detailsUrl(qint64 tmdbID, const QString &alpha2) const
{
    // "credits" and "release_dates" are what TMDb still answers when it leaves out "casts" and "releases".
    const QString text = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/movie/") + QString::number(tmdbID)
        + QLatin1Char('?') + keyParameter()
        + QStringLiteral("append_to_response=casts,releases,images,credits,release_dates&language=")
        + encodeQueryText(alpha2);
    return QUrl::fromEncoded(text.toUtf8());
}

QUrl TMDB::postersUrl(qint64 tmdbID, const QString &alpha2) const
{
    const QString text = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/movie/") + QString::number(tmdbID)
        + QLatin1Char('?') + keyParameter() + QStringLiteral("append_to_response=releases,images&language=")
        + encodeQueryText(alpha2);
    return QUrl::fromEncoded(text.toUtf8());
}

QUrl TMDB::findUrl(const QString &imdbID, const QString &alpha2) const
{
    const QString text = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/find/") + encodeQueryText(imdbID)
        + QLatin1Char('?') + keyParameter() + QStringLiteral("external_source=imdb_id&language=") + encodeQueryText(alpha2);
    return QUrl::fromEncoded(text.toUtf8());
}

QUrl TMDB::imageUrl(const QString &size, const QString &posterPath)
{
    return QUrl::fromEncoded((ServiceConfig::tmdbImageUrl() + QStringLiteral("/t/p/") + size
                              + QString::fromLatin1(posterPath.toUtf8().toPercentEncoding("/")))
                                 .toUtf8());
}

// ---------------------------------------------------------------- requests

const AnswerCache &TMDB::cache()
{
    static const AnswerCache tmdb(QStringLiteral("tmdb"));
    return tmdb;
}

void TMDB::getJson(const QUrl &url, JsonCompletion completion) const
{
    const QString key = loggable(url);
    if (const std::optional<QByteArray> stored = cache().find(key)) {
        const Json answer = Json::parse(*stored);
        if (answer.value().isObject()) {
            QTimer::singleShot(0, mainContext(), [completion, answer] { completion(answer); });
            return;
        }
    }
    HttpClient::forCurrentThread().send(authorizedRequest(url), mainContext(), [completion, key](const HttpResponse &response) {
        const Outcome<Json> answer = HttpClient::jsonOf(response, false);
        if (answer)
            cache().store(key, response.body);
        completion(answer);
    });
}

void TMDB::searchMovies(const QString &query, const QString &alpha2, JsonCompletion completion) const
{
    getJson(searchUrl(query, alpha2), std::move(completion));
}

void TMDB::getPoster(const QString &size, const QString &posterPath, PosterCompletion completion)
{
    HttpRequest request;
    request.url = imageUrl(size, posterPath);
    request.maxRetryAfterSeconds = MaxRetryAfterSeconds;
    request.maxBodyBytes = AnswerLimit::Image;
    // A poster's path names its picture for good: a stored one is as good as a fresh one.
    const QString key = request.url.toString(QUrl::FullyEncoded);
    if (const std::optional<QByteArray> stored = cache().find(key)) {
        const ItemImage image = ItemImage::fromEncoded(*stored);
        if (!image.isNull()) {
            QTimer::singleShot(0, mainContext(), [completion, image] { completion(image); });
            return;
        }
    }
    HttpClient::forCurrentThread().send(request, mainContext(), [completion, key](const HttpResponse &response) {
        const ItemImage image = response.ok() ? ItemImage::fromEncoded(response.body) : ItemImage();
        if (!image.isNull())
            cache().store(key, response.body);
        completion(image.isNull() ? ItemImage::fromResource(QStringLiteral("pnf")) : image);
    });
}

void TMDB::getMovieListForSearchString(const QString &searchString, RecordListCompletion completion) const
{
    findMovieList(searchString, [completion](const Outcome<QList<MovieItem>> &records) {
        completion(records ? *records : QList<MovieItem>());
    });
}

void TMDB::findMovieList(const QString &searchString, std::function<void(const Outcome<QList<MovieItem>> &)> completion) const
{
    const SearchLanguage language = SearchLanguage::current();
    searchMovies(searchString, language.alpha2, [completion, searchString, language](const Outcome<Json> &answer) {
        if (!answer) {
            Diagnostics::write(QStringLiteral("In Finding Movie List for Search String : ") + searchString
                               + QStringLiteral(" -> ") + answer.errorText());
            completion(answer.error());
            return;
        }
        const qint64 total = (*answer)["total_results"].integer();
        if (total == 0 || total >= 10000) {
            Diagnostics::write(total == 0 ? QStringLiteral("No Results") : QStringLiteral("Wrong Results"));
            completion(QList<MovieItem>());
            return;
        }
        const Json results = (*answer)["results"];
        auto records = std::make_shared<QList<MovieItem>>();
        for (qsizetype i = 0; i < results.count(); ++i)
            records->append(TmdbAnswers::matchRecord(results[i], language.english, true));
        if (records->isEmpty()) {
            completion(QList<MovieItem>());
            return;
        }
        // Small posters for the result list ("w154": the image server refuses "w150").
        forEachThen(
            records->size(),
            [records](qsizetype i, std::function<void()> done) {
                getPoster(QStringLiteral("w154"), records->at(i).value(ItemKey::moviePosterPath).toString(),
                          [records, i, done](const ItemImage &image) {
                              (*records)[i].insert(ItemKey::moviePoster, imageValue(image));
                              done();
                          });
            },
            [records, completion] { completion(*records); });
    });
}

void TMDB::getDetails(qint64 tmdbID, JsonCompletion completion) const
{
    const QUrl url = detailsUrl(tmdbID, SearchLanguage::current().alpha2);
    getJson(url, std::move(completion));
}

void TMDB::findByImdbID(const QString &imdbID, JsonCompletion completion) const
{
    const QUrl url = findUrl(imdbID, SearchLanguage::current().alpha2);
    getJson(url, std::move(completion));
}

void TMDB::getMoreMovieDataWithMovieTMDBID(qint64 tmdbID, RecordCompletion completion) const
{
    getDetails(tmdbID, [completion, tmdbID](const Outcome<Json> &answer) {
        if (!answer) {
            Diagnostics::write(QStringLiteral("In More Movie Finder : ") + QString::number(tmdbID) + QStringLiteral(" -> ")
                               + answer.errorText());
            completion(TmdbAnswers::defaultDetailsRecord());
            return;
        }
        completion(TmdbAnswers::parseDetails(*answer));
    });
}

void TMDB::getThumbnailsWithTmdbID(qint64 tmdbID, std::function<void(const QList<PosterChoice> &)> completion) const
{
    const QString alpha2 = SearchLanguage::current().alpha2;
    getJson(postersUrl(tmdbID, alpha2), [completion, alpha2](const Outcome<Json> &answer) {
        if (!answer) {
            Diagnostics::write(answer.errorText());
            completion({});
            return;
        }
        const QStringList paths = TmdbAnswers::posterPathsInLanguage(*answer, alpha2);
        if (paths.isEmpty()) {
            completion({});
            return;
        }
        auto choices = std::make_shared<QList<PosterChoice>>();
        for (const QString &path : paths)
            choices->append(PosterChoice{path, ItemImage()});
        forEachThen(
            paths.size(),
            [choices](qsizetype i, std::function<void()> done) {
                getPoster(QStringLiteral("w92"), choices->at(i).posterPath, [choices, i, done](const ItemImage &image) {
                    (*choices)[i].thumbnail = image;
                    done();
                });
            },
            [choices, completion] { completion(*choices); });
    });
}

void TMDB::getHighResPosterWithPosterPath(const QString &posterPath, PosterCompletion completion)
{
    if (posterPath.isEmpty()) {
        const ItemImage pnf = ItemImage::fromResource(QStringLiteral("pnf"));
        QTimer::singleShot(0, mainContext(), [completion, pnf] { completion(pnf); });
        return;
    }
    getPoster(QStringLiteral("original"), posterPath, std::move(completion));
}

void TMDB::delay(double seconds, std::function<void()> closure)
{
    const double ms = seconds * 1000.0;
    const int delayMs = ms <= 0 || !(ms == ms) ? 0 : (ms > 2.0e9 ? 2000000000 : int(ms));
    QTimer::singleShot(delayMs, mainContext(), std::move(closure));
}
