#include "standin/TmdbStandin.h"

#include "standin/StandinServer.h"

#include <QBuffer>
#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QPainter>
#include <QRegularExpression>

namespace {

struct Movie
{
    qint64 id;
    QString title;
    QString releaseDate;
    QString imdbId;
    QString certification;
    QStringList genres;
    QString storeGenre; // empty: the store has no result of the movie's year
    QString posterPath;
    QStringList cast;
    QStringList directors;
    QString composer;
};

// One catalogue entry; lists are separated by '|'.
Movie movie(qint64 id, const char *title, const char *released, const char *imdbId, const char *certification,
            const char *genres, const char *storeGenre, const char *poster, const char *cast, const char *directors,
            const char *composer)
{
    const auto list = [](const char *text) { return QString::fromUtf8(text).split(QLatin1Char('|')); };
    return {id, QString::fromUtf8(title), QString::fromUtf8(released), QString::fromUtf8(imdbId),
            QString::fromUtf8(certification), list(genres), QString::fromUtf8(storeGenre), QString::fromUtf8(poster),
            list(cast), list(directors), QString::fromUtf8(composer)};
}

int g_extraFilms = 0;

const QList<Movie> &catalogue()
{
    static QList<Movie> movies;
    static int extra = -1;
    if (extra == g_extraFilms)
        return movies;
    extra = g_extraFilms;
    movies = {
        movie(27205, "Inception", "2010-07-15", "tt1375666", "PG-13", "Action|Science Fiction", "Sci-Fi & Fantasy",
              "/inception.jpg", "Leonardo DiCaprio|Joseph Gordon-Levitt|Elliot Page|Tom Hardy|Ken Watanabe|Cillian Murphy",
              "Christopher Nolan", "Hans Zimmer"),
        movie(155, "The Dark Knight", "2008-07-16", "tt0468569", "PG-13", "Drama|Action", "Action & Adventure",
              "/darkknight.jpg", "Christian Bale|Heath Ledger|Aaron Eckhart", "Christopher Nolan", "Hans Zimmer"),
        movie(49026, "The Dark Knight Rises", "2012-07-16", "tt1345836", "PG-13", "Action", "Action & Adventure",
              "/darkknightrises.jpg", "Christian Bale|Tom Hardy", "Christopher Nolan", "Hans Zimmer"),
        movie(949, "Heat", "1995-12-15", "tt0113277", "R", "Action|Crime", "", "/heat.jpg", "Al Pacino|Robert De Niro",
              "Michael Mann", "Elliot Goldenthal"),
        movie(348, "Alien", "1979-05-25", "tt0078748", "R", "Horror|Science Fiction", "Horror", "/alien.png",
              "Sigourney Weaver|Tom Skerritt", "Ridley Scott", "Jerry Goldsmith"),
        // A hostile title: terminal escape sequences that retitle the window and clear the screen.
        movie(96821, "Zzyzx\x1b]0;pwned\x07\x1b[2J Road", "2006-04-28", "tt0400805", "R", "Thriller", "",
              "/zzyzx.jpg", "Tom Sizemore", "John Penney", "Someone"),
    };
    // "Film 001", "Film 002"...: as many different movies as a benchmark asks for.
    for (int i = 1; i <= g_extraFilms; ++i) {
        const QByteArray number = QByteArray::number(i).rightJustified(3, '0');
        const QByteArray title = QByteArray("Film ") + number;
        const QByteArray released = QByteArray::number(1950 + i % 70) + QByteArray("-03-01");
        const QByteArray imdb = QByteArray("tt9") + number.rightJustified(6, '0');
        const QByteArray poster = QByteArray("/film") + number + QByteArray(".jpg");
        movies.append(movie(900000 + i, title.constData(), released.constData(), imdb.constData(), "PG", "Drama",
                            "Independent", poster.constData(), "Someone|Someone Else", "A Director", "A Composer"));
    }
    return movies;
}

int g_storeLimit = 0;
QList<qint64> g_storeCalls; // milliseconds since the epoch of the store calls in the last minute

bool g_legacy = false;
int g_runtimeMinutes = 0;
QSize g_originalSize(200, 300);

QStringList words(const QString &text)
{
    QStringList result;
    for (const QString &word : text.toLower().split(QRegularExpression(QStringLiteral("[^\\w]+")), Qt::SkipEmptyParts))
        result.append(word);
    return result;
}

StandinServer::Reply tmdbError(int status)
{
    const auto answer = [status](int code, const char *message) {
        QJsonObject body{{QStringLiteral("status_code"), code}, {QStringLiteral("status_message"), QString::fromLatin1(message)}};
        if (status != 429)
            body.insert(QStringLiteral("success"), false);
        return StandinServer::json(body, status);
    };
    switch (status) {
    case 401: return answer(7, "Invalid API key: You must be granted a valid key.");
    case 404: return answer(34, "The resource you requested could not be found.");
    case 429: return answer(25, "Your request count (41) is over the allowed limit of 40.");
    default: return answer(11, "Internal error: Something went wrong, contact TMDb.");
    }
}

const StandinServer::Service tmdb{tmdbError, [](const StandinServer::Request &request) {
    return request.query.queryItemValue(QStringLiteral("api_key")).toUtf8() == TmdbStandin::apiKey()
        || request.header("Authorization") == "Bearer " + TmdbStandin::readAccessToken();
}};

StandinServer::Reply configuration(const StandinServer::Request &)
{
    return StandinServer::json({{QStringLiteral("images"),
                                 QJsonObject{{QStringLiteral("secure_base_url"), QStringLiteral("https://image.tmdb.org/t/p/")}}},
                                {QStringLiteral("change_keys"), QJsonArray{QStringLiteral("title")}}});
}

QJsonObject searchResult(const Movie &movie)
{
    QJsonArray genreIds;
    genreIds.append(28);
    return {{QStringLiteral("adult"), false},
            {QStringLiteral("backdrop_path"), QString(QStringLiteral("/backdrop") + movie.posterPath)},
            {QStringLiteral("genre_ids"), genreIds},
            {QStringLiteral("id"), movie.id},
            {QStringLiteral("original_language"), QStringLiteral("en")},
            {QStringLiteral("original_title"), movie.title},
            {QStringLiteral("overview"), QString(QStringLiteral("The story of ") + movie.title + QLatin1Char('.'))},
            {QStringLiteral("popularity"), 50.5},
            {QStringLiteral("poster_path"), movie.posterPath},
            {QStringLiteral("release_date"), movie.releaseDate},
            {QStringLiteral("title"), movie.title},
            {QStringLiteral("video"), false},
            {QStringLiteral("vote_average"), 8.2},
            {QStringLiteral("vote_count"), 30000}};
}

StandinServer::Reply search(const StandinServer::Request &request)
{
    const QStringList query = words(request.query.queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded));
    QJsonArray results;
    for (const Movie &movie : catalogue()) {
        // Every title word in the query ("The Dark Knight 2008"), or every query word in the title ("dark knight").
        const QStringList title = words(movie.title);
        bool titleInQuery = !query.isEmpty();
        for (const QString &word : title)
            titleInQuery = titleInQuery && query.contains(word);
        bool queryInTitle = !query.isEmpty();
        for (const QString &word : query)
            queryInTitle = queryInTitle && title.contains(word);
        if (titleInQuery || queryInTitle)
            results.append(searchResult(movie));
    }
    return StandinServer::json({{QStringLiteral("page"), 1},
                                {QStringLiteral("results"), results},
                                {QStringLiteral("total_pages"), results.isEmpty() ? 0 : 1},
                                {QStringLiteral("total_results"), results.size()}});
}

const Movie *movieById(qint64 id)
{
    for (const Movie &movie : catalogue()) {
        if (movie.id == id)
            return &movie;
    }
    return nullptr;
}

QJsonArray named(const QStringList &names)
{
    QJsonArray array;
    int id = 1;
    for (const QString &name : names)
        array.append(QJsonObject{{QStringLiteral("id"), id++}, {QStringLiteral("name"), name}});
    return array;
}

QJsonObject people(const Movie &movie)
{
    QJsonArray cast;
    int order = 0;
    for (const QString &name : movie.cast)
        cast.append(QJsonObject{{QStringLiteral("name"), name},
                                {QStringLiteral("character"), QStringLiteral("Someone")},
                                {QStringLiteral("order"), order++}});
    QJsonArray crew;
    const auto member = [&crew](const char *job, const char *department, const QString &name) {
        crew.append(QJsonObject{{QStringLiteral("job"), QString::fromLatin1(job)},
                                {QStringLiteral("department"), QString::fromLatin1(department)},
                                {QStringLiteral("name"), name}});
    };
    for (const QString &name : movie.directors)
        member("Director", "Directing", name);
    member("Screenplay", "Writing", movie.directors.value(0));
    member("Producer", "Production", QStringLiteral("Emma Thomas"));
    member("Original Music Composer", "Sound", movie.composer);
    return {{QStringLiteral("cast"), cast}, {QStringLiteral("crew"), crew}};
}

QJsonObject posters(const Movie &movie)
{
    QJsonArray list;
    const QString base = movie.posterPath.section(QLatin1Char('.'), 0, 0);
    const QString ext = movie.posterPath.section(QLatin1Char('.'), -1);
    const std::pair<const char *, const char *> entries[] = {{"en", ""}, {"fr", "-fr"}, {"en", "-alt"}, {nullptr, "-text"}};
    for (const auto &[language, suffix] : entries) {
        QJsonObject poster{{QStringLiteral("aspect_ratio"), 0.667},
                           {QStringLiteral("file_path"), QString(base + QLatin1String(suffix) + QLatin1Char('.') + ext)},
                           {QStringLiteral("height"), 3000},
                           {QStringLiteral("width"), 2000},
                           {QStringLiteral("vote_average"), 5.3}};
        poster.insert(QStringLiteral("iso_639_1"),
                      language ? QJsonValue(QString::fromLatin1(language)) : QJsonValue(QJsonValue::Null));
        list.append(poster);
    }
    return {{QStringLiteral("backdrops"), QJsonArray()}, {QStringLiteral("posters"), list}};
}

StandinServer::Reply details(const StandinServer::Request &request)
{
    const qint64 id = request.path.section(QLatin1Char('/'), -1).toLongLong();
    const Movie *movie = movieById(id);
    if (!movie)
        return tmdbError(404);
    const QStringList append =
        request.query.queryItemValue(QStringLiteral("append_to_response")).split(QLatin1Char(','));

    QJsonObject answer{
        {QStringLiteral("id"), movie->id},
        {QStringLiteral("imdb_id"), movie->imdbId},
        {QStringLiteral("title"), movie->title},
        {QStringLiteral("release_date"), movie->releaseDate},
        {QStringLiteral("tagline"), QString(QStringLiteral("Tagline of ") + movie->title)},
        {QStringLiteral("overview"), QString(QStringLiteral("The story of ") + movie->title + QLatin1Char('.'))},
        {QStringLiteral("genres"), named(movie->genres)},
        {QStringLiteral("production_companies"),
         named({QStringLiteral("Warner Bros. Pictures"), QStringLiteral("Syncopy"), QStringLiteral("Legendary")})},
        {QStringLiteral("production_countries"),
         QJsonArray{QJsonObject{{QStringLiteral("iso_3166_1"), QStringLiteral("US")},
                                {QStringLiteral("name"), QStringLiteral("United States of America")}}}},
        {QStringLiteral("runtime"), g_runtimeMinutes},
    };
    const QJsonObject credits = people(*movie);
    if (g_legacy) {
        if (append.contains(QStringLiteral("casts")))
            answer.insert(QStringLiteral("casts"), credits);
        if (append.contains(QStringLiteral("releases")))
            answer.insert(QStringLiteral("releases"),
                          QJsonObject{{QStringLiteral("countries"),
                                       QJsonArray{QJsonObject{{QStringLiteral("iso_3166_1"), QStringLiteral("GB")},
                                                              {QStringLiteral("certification"), QStringLiteral("12A")}},
                                                  QJsonObject{{QStringLiteral("iso_3166_1"), QStringLiteral("US")},
                                                              {QStringLiteral("certification"), movie->certification}}}}});
    } else {
        // Today's service leaves out "casts" and "releases" whatever is asked.
        if (append.contains(QStringLiteral("credits")))
            answer.insert(QStringLiteral("credits"), credits);
        if (append.contains(QStringLiteral("release_dates"))) {
            const QJsonArray dates{
                QJsonObject{{QStringLiteral("certification"), QString()}, {QStringLiteral("type"), 1}},
                QJsonObject{{QStringLiteral("certification"), movie->certification}, {QStringLiteral("type"), 3}}};
            answer.insert(QStringLiteral("release_dates"),
                          QJsonObject{{QStringLiteral("results"),
                                       QJsonArray{QJsonObject{{QStringLiteral("iso_3166_1"), QStringLiteral("US")},
                                                              {QStringLiteral("release_dates"), dates}}}}});
        }
    }
    if (append.contains(QStringLiteral("images")))
        answer.insert(QStringLiteral("images"), posters(*movie));
    return StandinServer::json(answer);
}

// The find request: an IMDb number to the movies it names, in the search result's shape.
StandinServer::Reply find(const StandinServer::Request &request)
{
    const QString imdbID = request.path.section(QLatin1Char('/'), -1);
    QJsonArray movies;
    if (request.query.queryItemValue(QStringLiteral("external_source")) == QLatin1String("imdb_id")) {
        for (const Movie &movie : catalogue()) {
            if (movie.imdbId == imdbID)
                movies.append(searchResult(movie));
        }
    }
    return StandinServer::json({{QStringLiteral("movie_results"), movies},
                                {QStringLiteral("person_results"), QJsonArray()},
                                {QStringLiteral("tv_results"), QJsonArray()},
                                {QStringLiteral("tv_episode_results"), QJsonArray()},
                                {QStringLiteral("tv_season_results"), QJsonArray()}});
}

QByteArray encodedPoster(const QString &path, const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    const uint hash = qHash(path);
    image.fill(QColor::fromHsv(int(hash % 360), 160, 200));
    {
        QPainter painter(&image);
        painter.fillRect(QRect(size.width() / 8, size.height() / 8, size.width() * 3 / 4, size.height() / 4),
                         QColor::fromHsv(int((hash / 7) % 360), 200, 90));
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, path.endsWith(QStringLiteral(".png")) ? "PNG" : "JPEG", 85);
    return bytes;
}

StandinServer::Reply image(const StandinServer::Request &request)
{
    static const QHash<QString, QSize> sizes = {
        {QStringLiteral("w92"), QSize(92, 138)},   {QStringLiteral("w154"), QSize(154, 231)},
        {QStringLiteral("w185"), QSize(185, 278)}, {QStringLiteral("w342"), QSize(342, 513)},
        {QStringLiteral("w500"), QSize(500, 750)}, {QStringLiteral("w780"), QSize(780, 1170)},
    };
    const QString size = request.path.section(QLatin1Char('/'), 3, 3);
    const QString path = QLatin1Char('/') + request.path.section(QLatin1Char('/'), 4);
    if (size != QLatin1String("original") && !sizes.contains(size))
        return StandinServer::plain(400, "text/plain", "Image size not supported");
    const QString name = path.section(QLatin1Char('/'), -1);
    const QString base = name.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('-'), 0, 0);
    bool known = false;
    for (const Movie &movie : catalogue())
        known = known || movie.posterPath == QLatin1Char('/') + base + QLatin1Char('.') + name.section(QLatin1Char('.'), -1);
    if (name.startsWith(QStringLiteral("broken")))
        return StandinServer::plain(200, "image/jpeg", "this is not a picture");
    if (!known)
        return StandinServer::plain(404, "text/html", "<html><body>Not Found</body></html>");
    const QSize pixels = size == QLatin1String("original") ? g_originalSize : sizes.value(size);
    return StandinServer::plain(200, name.endsWith(QStringLiteral(".png")) ? "image/png" : "image/jpeg",
                                encodedPoster(path, pixels));
}

// The store answers JSON as JavaScript.
StandinServer::Reply javascript(const QJsonObject &object)
{
    StandinServer::Reply reply = StandinServer::json(object);
    reply.contentType = "text/javascript; charset=utf-8";
    return reply;
}

/** Beyond the limit of calls in a minute the store answers 403, as Apple's does. */
bool storeThrottles()
{
    if (g_storeLimit <= 0)
        return false;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    g_storeCalls.removeIf([now](qint64 call) { return now - call >= 60000; });
    if (g_storeCalls.size() >= g_storeLimit)
        return true;
    g_storeCalls.append(now);
    return false;
}

StandinServer::Reply itunesSearch(const StandinServer::Request &request)
{
    if (storeThrottles())
        return StandinServer::plain(403, "text/html", "<html><body>Forbidden</body></html>");
    const QStringList term = words(request.query.queryItemValue(QStringLiteral("term"), QUrl::FullyDecoded));
    QJsonArray results;
    for (const Movie &movie : catalogue()) {
        const QStringList title = words(movie.title);
        bool all = !term.isEmpty();
        for (const QString &word : term)
            all = all && title.contains(word);
        if (!all)
            continue;
        // A song of the same year comes first: only feature movies count.
        results.append(QJsonObject{{QStringLiteral("wrapperType"), QStringLiteral("track")},
                                   {QStringLiteral("kind"), QStringLiteral("song")},
                                   {QStringLiteral("trackName"), QString(movie.title + QStringLiteral(" (Main Theme)"))},
                                   {QStringLiteral("releaseDate"), QString(movie.releaseDate + QStringLiteral("T07:00:00Z"))},
                                   {QStringLiteral("primaryGenreName"), QStringLiteral("Soundtrack")}});
        if (movie.storeGenre.isEmpty())
            continue;
        results.append(QJsonObject{{QStringLiteral("wrapperType"), QStringLiteral("track")},
                                   {QStringLiteral("kind"), QStringLiteral("feature-movie")},
                                   {QStringLiteral("trackName"), movie.title},
                                   {QStringLiteral("releaseDate"), QString(movie.releaseDate + QStringLiteral("T07:00:00Z"))},
                                   {QStringLiteral("primaryGenreName"), movie.storeGenre}});
    }
    return javascript({{QStringLiteral("resultCount"), results.size()}, {QStringLiteral("results"), results}});
}

StandinServer::Reply genres(const StandinServer::Request &)
{
    QJsonObject subgenres;
    subgenres.insert(QStringLiteral("4401"), QJsonObject{{QStringLiteral("name"), QStringLiteral("Action & Adventure")},
                                                         {QStringLiteral("id"), QStringLiteral("4401")}});
    subgenres.insert(QStringLiteral("4413"), QJsonObject{{QStringLiteral("name"), QStringLiteral("Sci-Fi & Fantasy")},
                                                         {QStringLiteral("id"), QStringLiteral("4413")}});
    return javascript({{QStringLiteral("33"), QJsonObject{{QStringLiteral("name"), QStringLiteral("Movies")},
                                                          {QStringLiteral("id"), QStringLiteral("33")},
                                                          {QStringLiteral("subgenres"), subgenres}}}});
}

} // namespace

void TmdbStandin::install(StandinServer &server)
{
    server.addRoute(QStringLiteral("search"), "GET", QStringLiteral("/3/search/movie"), search, tmdb);
    server.addRoute(QStringLiteral("configuration"), "GET", QStringLiteral("/3/configuration"), configuration, tmdb);
    server.addRoute(QStringLiteral("details"), "GET", QStringLiteral("/3/movie/[0-9]+"), details, tmdb);
    server.addRoute(QStringLiteral("find"), "GET", QStringLiteral("/3/find/[^/]+"), find, tmdb);
    server.addRoute(QStringLiteral("image"), "GET", QStringLiteral("/t/p/[^/]+/.+"), image);
    server.addRoute(QStringLiteral("itunes"), "GET", QStringLiteral("/search"), itunesSearch);
    server.addRoute(QStringLiteral("genres"), "GET", QStringLiteral("/WebObjects/MZStoreServices.woa/ws/genres"), genres);
}

QStringList TmdbStandin::environment(const StandinServer &server)
{
    const QString base = server.baseUrl();
    return {QStringLiteral("KINOVELA_TMDB_API_URL=") + base, QStringLiteral("KINOVELA_TMDB_IMAGE_URL=") + base,
            QStringLiteral("KINOVELA_ITUNES_URL=") + base, QStringLiteral("KINOVELA_ITUNES_GENRES_URL=") + base,
            QStringLiteral("KINOVELA_TMDB_API_KEY=") + QString::fromLatin1(apiKey()),
            // The stand-in store does not throttle unless told to: no need to space its calls.
            QStringLiteral("KINOVELA_STORE_INTERVAL_MS=0")};
}

void TmdbStandin::exportEnvironment(const StandinServer &server)
{
    StandinServer::exportEnvironment(environment(server));
}

void TmdbStandin::setLegacyShapes(bool legacy)
{
    g_legacy = legacy;
}

void TmdbStandin::setRuntimeMinutes(int minutes)
{
    g_runtimeMinutes = minutes;
}

void TmdbStandin::setExtraFilms(int count)
{
    g_extraFilms = count;
}

void TmdbStandin::setStoreLimit(int callsPerMinute)
{
    g_storeLimit = callsPerMinute;
    g_storeCalls.clear();
}

void TmdbStandin::setOriginalPosterSize(const QSize &size)
{
    g_originalSize = size;
}
