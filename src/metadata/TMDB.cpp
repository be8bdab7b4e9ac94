#include "metadata/TMDB.h"

#include "base/Diagnostics.h"
#include "base/HttpClient.h"
#include "base/ReleaseDate.h"
#include "base/UsRating.h"
#include "base/ServiceConfig.h"
#include "base/SearchLanguage.h"
#include "media/Levenshtein.h"

#include <QCoreApplication>
#include <QDate>
#include <QJsonDocument>
#include <QLocale>
#include <QTimer>

#include <algorithm>
#include <memory>

namespace {

// TMDb asks overloaded clients to come back later; one retry, waiting at most this long.
constexpr int MaxRetryAfterSeconds = 10;

QObject *mainContext()
{
    return QCoreApplication::instance();
}


/** Why a JSON request failed, in the words of the diagnostics. */
struct Failure
{
    QString description;
    QStringList details;
};

using JsonCompletion = std::function<void(const Json &json, const Failure *failure)>;

bool acceptableJsonType(const QByteArray &contentType)
{
    const QByteArray type = contentType.toLower();
    return type.startsWith("application/json") || type.contains("+json") || type.startsWith("text/javascript");
}

void fetchJson(const QUrl &url, bool validate, JsonCompletion completion)
{
    HttpRequest request;
    request.url = url;
    request.maxRetryAfterSeconds = MaxRetryAfterSeconds;
    request.headers.append({QByteArrayLiteral("Accept"), QByteArrayLiteral("application/json")});
    HttpClient::forCurrentThread().send(request, mainContext(), [completion, validate](const HttpResponse &response) {
        Failure failure;
        if (!response.ok()) {
            failure.description = response.error;
            if (response.status != 0 && !response.timedOut) {
                failure.details = {QStringLiteral("Response validation failed: ") + response.error,
                                   QStringLiteral("Failure Reason: ") + response.error,
                                   QStringLiteral("Response status code was unacceptable: ")
                                       + QString::number(response.status),
                                   QStringLiteral("Underlying error: None")};
            } else {
                failure.details = {QStringLiteral("URLError occurred: ") + response.error};
            }
            completion(Json(), &failure);
            return;
        }
        if (validate && !acceptableJsonType(response.contentType)) {
            const QString received = QString::fromLatin1(response.contentType);
            failure.description = QStringLiteral("Response content type \"%1\" was unacceptable.").arg(received);
            failure.details = {QStringLiteral("Response validation failed: ") + failure.description,
                               QStringLiteral("Failure Reason: ") + failure.description,
                               QStringLiteral("Response content type: ") + received
                                   + QStringLiteral(" was unacceptable: application/json"),
                               QStringLiteral("Underlying error: None")};
            completion(Json(), &failure);
            return;
        }
        QJsonParseError parseError{};
        const QJsonDocument document = QJsonDocument::fromJson(response.body, &parseError);
        if (parseError.error != QJsonParseError::NoError) {
            failure.description =
                QStringLiteral("JSON could not be serialized because of error: ") + parseError.errorString();
            failure.details = {QStringLiteral("Response serialization failed: ") + failure.description,
                               QStringLiteral("Failure Reason: ") + failure.description,
                               QStringLiteral("Underlying error: None")};
            completion(Json(), &failure);
            return;
        }
        completion(Json(document), nullptr);
    });
}

void fetchImage(const QUrl &url, std::function<void(const ItemImage &)> completion)
{
    HttpRequest request;
    request.url = url;
    request.maxRetryAfterSeconds = MaxRetryAfterSeconds;
    HttpClient::forCurrentThread().send(request, mainContext(), [completion](const HttpResponse &response) {
        const ItemImage image = response.ok() ? ItemImage::fromEncoded(response.body) : ItemImage();
        completion(image.isNull() ? ItemImage::fromResource(QStringLiteral("pnf")) : image);
    });
}

QVariant imageValue(const ItemImage &image)
{
    return QVariant::fromValue(image);
}

QString firstFive(const QStringList &names)
{
    return names.mid(0, 5).join(QLatin1Char('\n'));
}

QString takeYear(const QString &date)
{
    return date.size() >= 4 ? date.left(4) : QString();
}

} // namespace

TMDB::TMDB()
    : API_KEY(ServiceConfig::tmdbApiKey())
{
}

// ---------------------------------------------------------------- pure parts

MovieItem TMDB::notFoundRecord()
{
    return MovieItem{
        {ItemKey::movieTitle, QString()},
        {ItemKey::movieTMDBID, qint64(0)},
        {ItemKey::movieReleaseDate_YYYYhMMhDD, QString()},
        {ItemKey::movieReleaseDate_BEAUTIFIED, QString()},
        {ItemKey::movieReleaseYear, QString()},
        {ItemKey::moviePosterPath, QString()},
        {ItemKey::moviePoster, imageValue(ItemImage::fromResource(QStringLiteral("mnf")))},
        {ItemKey::movieFoundStatus, false},
        {ItemKey::movieLanguage, QString()},
    };
}

MovieItem TMDB::defaultDetailsRecord()
{
    MovieItem record;
    for (const QString &key :
         {ItemKey::movieTagline, ItemKey::movieOverview, ItemKey::movieDirectors, ItemKey::movieCast,
          ItemKey::movieProducers, ItemKey::movieStudios, ItemKey::movieScreenwriters, ItemKey::movieComposers,
          ItemKey::movieCountry, ItemKey::movieRating_US, ItemKey::tmdbGenre, ItemKey::imdbID})
        record.insert(key, QString());
    record.insert(ItemKey::movieRating_US_Icon, imageValue(ItemImage::fromResource(QStringLiteral("blank"))));
    return record;
}

QString TMDB::encodeQueryText(const QString &text)
{
    return QString::fromLatin1(text.toUtf8().toPercentEncoding(QByteArrayLiteral("!$&'()*+,-./:;=?@_~")));
}

MovieItem TMDB::parseDetails(const Json &answer)
{
    MovieItem record = defaultDetailsRecord();
    auto setIfNotEmpty = [&record](const QString &key, const QString &value) {
        if (!value.isEmpty())
            record.insert(key, value);
    };

    setIfNotEmpty(ItemKey::tmdbGenre, answer["genres"][0]["name"].text());
    setIfNotEmpty(ItemKey::imdbID, answer["imdb_id"].text());

    // The US certification: the older "releases" shape when present, else "release_dates".
    std::optional<QString> certification;
    if (answer["releases"].exists()) {
        const Json countries = answer["releases"]["countries"];
        for (qsizetype i = 0; i < countries.count(); ++i) {
            if (countries[i]["iso_3166_1"] == "US") {
                certification = countries[i]["certification"].text();
                break;
            }
        }
    } else {
        const Json results = answer["release_dates"]["results"];
        for (qsizetype i = 0; i < results.count(); ++i) {
            if (!(results[i]["iso_3166_1"] == "US"))
                continue;
            QString first;
            const Json dates = results[i]["release_dates"];
            for (qsizetype j = 0; j < dates.count() && first.isEmpty(); ++j)
                first = dates[j]["certification"].text();
            certification = first;
            break;
        }
    }
    if (certification) {
        const auto [rating, badge] = UsRating::forCertification(*certification);
        record.insert(ItemKey::movieRating_US, rating);
        record.insert(ItemKey::movieRating_US_Icon, imageValue(ItemImage::fromResource(badge)));
    }

    setIfNotEmpty(ItemKey::movieTagline, answer["tagline"].text());
    setIfNotEmpty(ItemKey::movieOverview, answer["overview"].text());
    setIfNotEmpty(ItemKey::movieCountry, answer["production_countries"][0]["name"].text());

    const Json people = answer["casts"].exists() ? answer["casts"] : answer["credits"];
    QStringList cast;
    for (qsizetype i = 0; i < people["cast"].count(); ++i) {
        const QString name = people["cast"][i]["name"].text();
        if (!name.isEmpty())
            cast.append(name);
    }
    setIfNotEmpty(ItemKey::movieCast, firstFive(cast));

    QStringList studios;
    for (qsizetype i = 0; i < answer["production_companies"].count(); ++i) {
        const QString name = answer["production_companies"][i]["name"].text();
        if (!name.isEmpty())
            studios.append(name);
    }
    setIfNotEmpty(ItemKey::movieStudios, firstFive(studios));

    const std::pair<const char *, QString> jobs[] = {
        {"Director", ItemKey::movieDirectors},
        {"Producer", ItemKey::movieProducers},
        {"Original Music Composer", ItemKey::movieComposers},
        {"Screenplay", ItemKey::movieScreenwriters},
    };
    const Json crew = people["crew"];
    for (const auto &[job, key] : jobs) {
        QStringList names;
        for (qsizetype i = 0; i < crew.count(); ++i) {
            if (crew[i]["job"] == job)
                names.append(crew[i]["name"].text());
        }
        if (!names.isEmpty())
            record.insert(key, firstFive(names));
    }
    return record;
}

qsizetype TMDB::exactTitleIndex(const Json &answer, const QString &movieName)
{
    const qint64 total = answer["total_results"].integer();
    for (qint64 i = 0; i < total; ++i) {
        // Indexes past the returned page read as empty titles.
        if (i >= answer["results"].count())
            break;
        if (answer["results"][qsizetype(i)]["title"] == movieName) {
            if (total >= 1 && total <= 9999)
                return qsizetype(i);
            break;
        }
    }
    return -1;
}

qsizetype TMDB::closestTitleIndex(const Json &answer, const QString &movieName)
{
    const Json results = answer["results"];
    qsizetype best = -1;
    qint64 bestDistance = 0;
    for (qsizetype i = 0; i < results.count(); ++i) {
        const QString candidate = results[i]["title"].text() + takeYear(results[i]["release_date"].text());
        const qint64 distance = Levenshtein::getDistanceBetweenStrings(candidate, movieName);
        if (best < 0 || distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

MovieItem TMDB::matchRecord(const Json &result, const QString &languageName, bool emptyLanguageWhenNoId)
{
    const QString releaseDate = result["release_date"].text();
    const QString beautified = ReleaseDate::displayTextOf(releaseDate);
    const qint64 id = result["id"].integer();
    return MovieItem{
        {ItemKey::movieTitle, result["title"].text()},
        {ItemKey::movieTMDBID, id},
        {ItemKey::movieReleaseDate_YYYYhMMhDD, releaseDate},
        {ItemKey::movieReleaseDate_BEAUTIFIED, beautified},
        {ItemKey::movieReleaseYear, beautified.isEmpty() ? QString() : releaseDate.left(4)},
        {ItemKey::moviePosterPath, result["poster_path"].text()},
        {ItemKey::moviePoster, imageValue(ItemImage::fromResource(QStringLiteral("pnf")))},
        {ItemKey::movieFoundStatus, id > 0},
        {ItemKey::movieLanguage, emptyLanguageWhenNoId && id < 1 ? QString() : languageName},
    };
}

MovieItem TMDB::parseGenre(const Json &answer, const QString &movieReleaseYear, const QString &tmdbGenre)
{
    QString genre;
    // Entries past the returned array read as empty and match nothing, so a
    // huge "resultCount" must not make us walk them.
    const qint64 count = std::min<qint64>(answer["resultCount"].integer(), answer["results"].count());
    for (qint64 i = 0; i < count; ++i) {
        const Json result = answer["results"][qsizetype(i)];
        // The store may answer with other kinds of items than movies.
        if (result.has(QStringLiteral("kind")) && !(result["kind"] == "feature-movie"))
            continue;
        const QString date = result["releaseDate"].text();
        if (date.size() >= 4 && date.left(4) == movieReleaseYear) {
            genre = result["primaryGenreName"].text();
            break;
        }
    }
    if (genre.isEmpty())
        genre = tmdbGenre;
    return MovieItem{{ItemKey::movieGenre, genre}, {ItemKey::genreFound, !genre.isEmpty()}};
}

QStringList TMDB::posterPathsInLanguage(const Json &answer, const QString &alpha2)
{
    QStringList paths;
    const Json posters = answer["images"]["posters"];
    for (qsizetype i = 0; i < posters.count(); ++i) {
        if (posters[i]["iso_639_1"] == alpha2)
            paths.append(posters[i]["file_path"].text());
    }
    return paths;
}

QUrl TMDB::searchUrl(const QString &query, const QString &alpha2) const
{
    const QString text = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/search/movie?api_key=") + API_KEY
        + QStringLiteral("&query=") + encodeQueryText(query) + QStringLiteral("&language=") + encodeQueryText(alpha2);
    return QUrl::fromEncoded(text.toUtf8());
}

QUrl TMDB::detailsUrl(qint64 tmdbID, const QString &alpha2) const
{
    // "credits" and "release_dates" are what TMDb still answers when it leaves out "casts" and "releases".
    const QString text = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/movie/") + QString::number(tmdbID)
        + QStringLiteral("?api_key=") + API_KEY
        + QStringLiteral("&append_to_response=casts,releases,images,credits,release_dates&language=")
        + encodeQueryText(alpha2);
    return QUrl::fromEncoded(text.toUtf8());
}

QUrl TMDB::postersUrl(qint64 tmdbID, const QString &alpha2) const
{
    const QString text = ServiceConfig::tmdbApiUrl() + QStringLiteral("/3/movie/") + QString::number(tmdbID)
        + QStringLiteral("?api_key=") + API_KEY + QStringLiteral("&append_to_response=releases,images&language=")
        + encodeQueryText(alpha2);
    return QUrl::fromEncoded(text.toUtf8());
}

QUrl TMDB::imageUrl(const QString &size, const QString &posterPath)
{
    return QUrl::fromEncoded((ServiceConfig::tmdbImageUrl() + QStringLiteral("/t/p/") + size
                              + encodeQueryText(posterPath))
                                 .toUtf8());
}

QUrl TMDB::genreSearchUrl(const QString &movieTitle)
{
    return QUrl::fromEncoded((ServiceConfig::itunesUrl() + QStringLiteral("/search?term=")
                              + encodeQueryText(movieTitle) + QStringLiteral("&entity=movie"))
                                 .toUtf8());
}

// ---------------------------------------------------------------- requests

void TMDB::getMovieInfo(const QString &movieName, RecordCompletion completion)
{
    auto box = std::make_shared<MovieItem>(notFoundRecord());
    const SearchLanguage language = SearchLanguage::current();
    const TMDB client = *this;

    // Fills the match record, loads the poster, then chains details and genre.
    auto fill = [box, completion, client, language](const Json &result) {
        MovieItem match = matchRecord(result, language.english, false);
        const QString posterPath = match.value(ItemKey::moviePosterPath).toString();
        fetchImage(imageUrl(QStringLiteral("original"), posterPath), [box, completion, client, match](
                                                                         const ItemImage &poster) mutable {
            match.insert(ItemKey::moviePoster, imageValue(poster));
            for (auto it = match.cbegin(); it != match.cend(); ++it)
                box->insert(it.key(), it.value());
            const qint64 id = box->value(ItemKey::movieTMDBID).toLongLong();
            if (id < 1) {
                completion(*box);
                return;
            }
            TMDB(client).getMoreMovieDataWithMovieTMDBID(id, [box, completion, client](const MovieItem &details) {
                for (auto it = details.cbegin(); it != details.cend(); ++it)
                    box->insert(it.key(), it.value());
                TMDB(client).getGenreFromiTunesStoreWithMovieTitle(
                    box->value(ItemKey::movieTitle).toString(), box->value(ItemKey::movieReleaseYear).toString(),
                    details.value(ItemKey::tmdbGenre).toString(), [box, completion](const MovieItem &genre) {
                        for (auto it = genre.cbegin(); it != genre.cend(); ++it)
                            box->insert(it.key(), it.value());
                        completion(*box);
                    });
            });
        });
    };

    QString query = movieName;
    query.replace(QLatin1Char('.'), QLatin1Char(' ')).replace(QLatin1Char(':'), QLatin1Char(' '));
    const QUrl secondUrl = searchUrl(query, language.alpha2);

    fetchJson(searchUrl(movieName, language.alpha2), true,
              [box, completion, fill, movieName, secondUrl](const Json &answer, const Failure *failure) {
                  if (failure) {
                      Diagnostics::write(QStringLiteral("Outer : ") + movieName + QStringLiteral(" -> ")
                                         + failure->description);
                      completion(*box);
                      for (const QString &line : failure->details)
                          Diagnostics::write(line);
                      return;
                  }
                  const qsizetype exact = exactTitleIndex(answer, movieName);
                  if (exact >= 0) {
                      fill(answer["results"][exact]);
                      return;
                  }
                  fetchJson(secondUrl, true,
                            [box, completion, fill, movieName, secondUrl](const Json &second, const Failure *failure) {
                                if (failure) {
                                    Diagnostics::write(QStringLiteral("Inner : ") + movieName + QStringLiteral(" -> ")
                                                       + failure->description);
                                    completion(*box);
                                    return;
                                }
                                const qint64 total = second["total_results"].integer();
                                const qsizetype closest = closestTitleIndex(second, movieName);
                                if (total < 1 || total > 9999 || closest < 0) {
                                    Diagnostics::write(QString::fromUtf8(secondUrl.toEncoded()));
                                    completion(*box);
                                    return;
                                }
                                fill(second["results"][closest]);
                            });
              });
}

void TMDB::getMovieListForSearchString(const QString &searchString, RecordListCompletion completion)
{
    const SearchLanguage language = SearchLanguage::current();
    fetchJson(searchUrl(searchString, language.alpha2), true,
              [completion, searchString, language](const Json &answer, const Failure *failure) {
                  if (failure) {
                      Diagnostics::write(QStringLiteral("In Finding Movie List for Search String : ") + searchString
                                         + QStringLiteral(" -> ") + failure->description);
                      completion({});
                      return;
                  }
                  const qint64 total = answer["total_results"].integer();
                  if (total == 0) {
                      Diagnostics::write(QStringLiteral("No Results"));
                      completion({});
                      return;
                  }
                  if (total >= 10000) {
                      Diagnostics::write(QStringLiteral("Wrong Results"));
                      completion({});
                      return;
                  }
                  const Json results = answer["results"];
                  auto records = std::make_shared<QList<MovieItem>>();
                  auto pending = std::make_shared<qsizetype>(results.count());
                  for (qsizetype i = 0; i < results.count(); ++i)
                      records->append(matchRecord(results[i], language.english, true));
                  if (records->isEmpty()) {
                      completion({});
                      return;
                  }
                  // Small posters for the result list ("w154": the image server refuses "w150").
                  for (qsizetype i = 0; i < records->size(); ++i) {
                      const QString path = records->at(i).value(ItemKey::moviePosterPath).toString();
                      fetchImage(imageUrl(QStringLiteral("w154"), path), [records, pending, completion, i](
                                                                            const ItemImage &image) {
                          (*records)[i].insert(ItemKey::moviePoster, imageValue(image));
                          if (--*pending == 0)
                              completion(*records);
                      });
                  }
              });
}

void TMDB::getMoreMovieDataWithMovieTMDBID(qint64 tmdbID, RecordCompletion completion)
{
    fetchJson(detailsUrl(tmdbID, SearchLanguage::current().alpha2), true,
              [completion, tmdbID](const Json &answer, const Failure *failure) {
                  if (failure) {
                      Diagnostics::write(QStringLiteral("In More Movie Finder : ") + QString::number(tmdbID)
                                         + QStringLiteral(" -> ") + failure->description);
                      completion(defaultDetailsRecord());
                      return;
                  }
                  completion(parseDetails(answer));
              });
}

void TMDB::getGenreFromiTunesStoreWithMovieTitle(const QString &movieTitle, const QString &movieReleaseYear,
                                                 const QString &tmdbGenre, RecordCompletion completion)
{
    fetchJson(genreSearchUrl(movieTitle), true,
              [completion, movieTitle, movieReleaseYear, tmdbGenre](const Json &answer, const Failure *failure) {
                  if (failure) {
                      completion(MovieItem{{ItemKey::movieGenre, tmdbGenre}, {ItemKey::genreFound, !tmdbGenre.isEmpty()}});
                      Diagnostics::write(QStringLiteral("In iTunes Genre Finder : ") + movieTitle
                                         + QStringLiteral(" -> ") + failure->description);
                      return;
                  }
                  completion(parseGenre(answer, movieReleaseYear, tmdbGenre));
              });
}

void TMDB::getThumbnailsWithTmdbID(qint64 tmdbID, RecordListCompletion completion)
{
    const QString alpha2 = SearchLanguage::current().alpha2;
    fetchJson(postersUrl(tmdbID, alpha2), true, [completion, alpha2](const Json &answer, const Failure *failure) {
        if (failure) {
            Diagnostics::write(failure->description);
            completion({});
            return;
        }
        const QStringList paths = posterPathsInLanguage(answer, alpha2);
        if (paths.isEmpty()) {
            completion({});
            return;
        }
        auto choices = std::make_shared<QList<MovieItem>>();
        for (const QString &path : paths)
            choices->append(MovieItem{{QStringLiteral("posterImage"), QVariant()}, {ItemKey::moviePosterPath, path}});
        auto pending = std::make_shared<qsizetype>(paths.size());
        for (qsizetype i = 0; i < paths.size(); ++i) {
            fetchImage(imageUrl(QStringLiteral("w92"), paths.at(i)), [choices, pending, completion, i](
                                                                        const ItemImage &image) {
                (*choices)[i].insert(QStringLiteral("posterImage"), imageValue(image));
                if (--*pending == 0)
                    completion(*choices);
            });
        }
    });
}

void TMDB::getHighResPosterWithPosterPath(const QString &posterPath, std::function<void(const ItemImage &)> completion)
{
    if (posterPath.isEmpty()) {
        const ItemImage pnf = ItemImage::fromResource(QStringLiteral("pnf"));
        QTimer::singleShot(0, mainContext(), [completion, pnf] { completion(pnf); });
        return;
    }
    fetchImage(imageUrl(QStringLiteral("original"), posterPath), std::move(completion));
}

void TMDB::delay(double seconds, std::function<void()> closure)
{
    const double ms = seconds * 1000.0;
    const int delayMs = ms <= 0 || !(ms == ms) ? 0 : (ms > 2.0e9 ? 2000000000 : int(ms));
    QTimer::singleShot(delayMs, mainContext(), std::move(closure));
}

void TMDB::getGenreList()
{
    const QUrl url = QUrl::fromEncoded(
        (ServiceConfig::itunesGenresUrl() + QStringLiteral("/WebObjects/MZStoreServices.woa/ws/genres?id=33")).toUtf8());
    fetchJson(url, false, [](const Json &answer, const Failure *failure) {
        if (failure) {
            Diagnostics::write(failure->description);
            return;
        }
        const QJsonValue subgenres = answer["33"]["subgenres"].value();
        const QByteArray printed = subgenres.isObject() ? QJsonDocument(subgenres.toObject()).toJson(QJsonDocument::Compact)
            : subgenres.isArray()                       ? QJsonDocument(subgenres.toArray()).toJson(QJsonDocument::Compact)
                                                        : QByteArrayLiteral("null");
        Diagnostics::write(QString::fromUtf8(printed));
    });
}
