#include "metadata/StoreGenre.h"

#include "base/Diagnostics.h"
#include "base/HttpClient.h"
#include "base/ServiceConfig.h"
#include "metadata/TMDB.h"

#include <QCoreApplication>
#include <QJsonDocument>

#include <algorithm>

namespace StoreGenre {
namespace {

MovieItem genreRecord(const QString &genre)
{
    return MovieItem{{ItemKey::movieGenre, genre}, {ItemKey::genreFound, !genre.isEmpty()}};
}

} // namespace

MovieItem parseGenre(const Json &answer, const QString &movieReleaseYear, const QString &tmdbGenre)
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
    return genreRecord(genre.isEmpty() ? tmdbGenre : genre);
}

QUrl genreSearchUrl(const QString &movieTitle)
{
    return QUrl::fromEncoded((ServiceConfig::itunesUrl() + QStringLiteral("/search?term=")
                              + TMDB::encodeQueryText(movieTitle) + QStringLiteral("&entity=movie"))
                                 .toUtf8());
}

void getGenreFromiTunesStoreWithMovieTitle(const QString &movieTitle, const QString &movieReleaseYear,
                                           const QString &tmdbGenre, GenreCompletion completion)
{
    HttpClient::forCurrentThread().getJson(
        TMDB::jsonRequest(genreSearchUrl(movieTitle)), QCoreApplication::instance(),
        [completion, movieTitle, movieReleaseYear, tmdbGenre](const Outcome<Json> &answer) {
            if (!answer) {
                completion(genreRecord(tmdbGenre));
                Diagnostics::write(QStringLiteral("In iTunes Genre Finder : ") + movieTitle + QStringLiteral(" -> ")
                                   + answer.errorText());
                return;
            }
            completion(parseGenre(*answer, movieReleaseYear, tmdbGenre));
        });
}

void getGenreList()
{
    HttpRequest request = TMDB::jsonRequest(QUrl::fromEncoded(
        (ServiceConfig::itunesGenresUrl() + QStringLiteral("/WebObjects/MZStoreServices.woa/ws/genres?id=33")).toUtf8()));
    request.anyContentType = true;
    HttpClient::forCurrentThread().getJson(request, QCoreApplication::instance(), [](const Outcome<Json> &answer) {
        if (!answer) {
            Diagnostics::write(answer.errorText());
            return;
        }
        const QJsonValue subgenres = (*answer)["33"]["subgenres"].value();
        const QByteArray printed = subgenres.isObject() ? QJsonDocument(subgenres.toObject()).toJson(QJsonDocument::Compact)
            : subgenres.isArray()                       ? QJsonDocument(subgenres.toArray()).toJson(QJsonDocument::Compact)
                                                        : QByteArrayLiteral("null");
        Diagnostics::write(QString::fromUtf8(printed));
    });
}

} // namespace StoreGenre
