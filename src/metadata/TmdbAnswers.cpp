#include "metadata/TmdbAnswers.h"

#include "base/ItemImage.h"
#include "base/ReleaseDate.h"
#include "base/UsRating.h"
#include "media/Levenshtein.h"

#include <optional>

namespace TmdbAnswers {
namespace {

QVariant imageValue(const QString &resource)
{
    return QVariant::fromValue(ItemImage::fromResource(resource));
}

QString firstFive(const QStringList &names)
{
    return names.mid(0, 5).join(QLatin1Char('\n'));
}

QString takeYear(const QString &date)
{
    return date.size() >= 4 ? date.left(4) : QString();
}

/** The non-empty "name" of every entry of a list. */
QStringList namesIn(const Json &list)
{
    QStringList names;
    for (qsizetype i = 0; i < list.count(); ++i) {
        const QString name = list[i]["name"].text();
        if (!name.isEmpty())
            names.append(name);
    }
    return names;
}

/** The US certification: the older "releases" shape when present, else "release_dates". */
std::optional<QString> usCertification(const Json &answer)
{
    if (answer["releases"].exists()) {
        const Json countries = answer["releases"]["countries"];
        for (qsizetype i = 0; i < countries.count(); ++i) {
            if (countries[i]["iso_3166_1"] == "US")
                return countries[i]["certification"].text();
        }
        return std::nullopt;
    }
    const Json results = answer["release_dates"]["results"];
    for (qsizetype i = 0; i < results.count(); ++i) {
        if (!(results[i]["iso_3166_1"] == "US"))
            continue;
        const Json dates = results[i]["release_dates"];
        for (qsizetype j = 0; j < dates.count(); ++j) {
            const QString certification = dates[j]["certification"].text();
            if (!certification.isEmpty())
                return certification;
        }
        return QString();
    }
    return std::nullopt;
}

void insertCrew(MovieItem &record, const Json &crew)
{
    const std::pair<const char *, QString> jobs[] = {
        {"Director", ItemKey::movieDirectors},
        {"Producer", ItemKey::movieProducers},
        {"Original Music Composer", ItemKey::movieComposers},
        {"Screenplay", ItemKey::movieScreenwriters},
    };
    for (const auto &[job, key] : jobs) {
        QStringList names;
        for (qsizetype i = 0; i < crew.count(); ++i) {
            if (crew[i]["job"] == job)
                names.append(crew[i]["name"].text());
        }
        if (!names.isEmpty())
            record.insert(key, firstFive(names));
    }
}

} // namespace

MovieItem notFoundRecord()
{
    return MovieItem{
        {ItemKey::movieTitle, QString()},
        {ItemKey::movieTMDBID, qint64(0)},
        {ItemKey::movieReleaseDate_YYYYhMMhDD, QString()},
        {ItemKey::movieReleaseDate_BEAUTIFIED, QString()},
        {ItemKey::movieReleaseYear, QString()},
        {ItemKey::moviePosterPath, QString()},
        {ItemKey::moviePoster, imageValue(QStringLiteral("mnf"))},
        {ItemKey::movieFoundStatus, false},
        {ItemKey::movieLanguage, QString()},
    };
}

MovieItem defaultDetailsRecord()
{
    MovieItem record;
    for (const QString &key :
         {ItemKey::movieTagline, ItemKey::movieOverview, ItemKey::movieDirectors, ItemKey::movieCast,
          ItemKey::movieProducers, ItemKey::movieStudios, ItemKey::movieScreenwriters, ItemKey::movieComposers,
          ItemKey::movieCountry, ItemKey::movieRating_US, ItemKey::tmdbGenre, ItemKey::imdbID})
        record.insert(key, QString());
    record.insert(ItemKey::movieRating_US_Icon, imageValue(QStringLiteral("blank")));
    return record;
}

MovieItem parseDetails(const Json &answer)
{
    MovieItem record = defaultDetailsRecord();
    auto setIfNotEmpty = [&record](const QString &key, const QString &value) {
        if (!value.isEmpty())
            record.insert(key, value);
    };

    setIfNotEmpty(ItemKey::tmdbGenre, answer["genres"][0]["name"].text());
    setIfNotEmpty(ItemKey::imdbID, answer["imdb_id"].text());
    if (const std::optional<QString> certification = usCertification(answer)) {
        const auto [rating, badge] = UsRating::forCertification(*certification);
        record.insert(ItemKey::movieRating_US, rating);
        record.insert(ItemKey::movieRating_US_Icon, imageValue(badge));
    }
    setIfNotEmpty(ItemKey::movieTagline, answer["tagline"].text());
    setIfNotEmpty(ItemKey::movieOverview, answer["overview"].text());
    setIfNotEmpty(ItemKey::movieCountry, answer["production_countries"][0]["name"].text());

    const Json people = answer["casts"].exists() ? answer["casts"] : answer["credits"];
    setIfNotEmpty(ItemKey::movieCast, firstFive(namesIn(people["cast"])));
    setIfNotEmpty(ItemKey::movieStudios, firstFive(namesIn(answer["production_companies"])));
    insertCrew(record, people["crew"]);
    return record;
}

qsizetype exactTitleIndex(const Json &answer, const QString &movieName)
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

qsizetype closestTitleIndex(const Json &answer, const QString &movieName)
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

MovieItem matchRecord(const Json &result, const QString &languageName, bool emptyLanguageWhenNoId)
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
        {ItemKey::moviePoster, imageValue(QStringLiteral("pnf"))},
        {ItemKey::movieFoundStatus, id > 0},
        {ItemKey::movieLanguage, emptyLanguageWhenNoId && id < 1 ? QString() : languageName},
    };
}

int runtimeMinutes(const Json &answer)
{
    const qint64 minutes = answer["runtime"].integer();
    return minutes > 0 && minutes < 100000 ? int(minutes) : 0;
}

Json foundMovie(const Json &answer)
{
    return answer["movie_results"][0];
}

QStringList posterPathsInLanguage(const Json &answer, const QString &alpha2)
{
    QStringList paths;
    const Json posters = answer["images"]["posters"];
    for (qsizetype i = 0; i < posters.count(); ++i) {
        if (posters[i]["iso_639_1"] == alpha2)
            paths.append(posters[i]["file_path"].text());
    }
    return paths;
}

} // namespace TmdbAnswers
