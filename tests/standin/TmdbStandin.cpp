#include "standin/TmdbStandin.h"

#include "standin/StandinServer.h"

#include <QBuffer>
#include <QHash>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
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

const QList<Movie> &catalogue()
{
    static const QList<Movie> movies = {
        {27205, QStringLiteral("Inception"), QStringLiteral("2010-07-15"), QStringLiteral("tt1375666"),
         QStringLiteral("PG-13"), {QStringLiteral("Action"), QStringLiteral("Science Fiction")},
         QStringLiteral("Sci-Fi & Fantasy"), QStringLiteral("/inception.jpg"),
         {QStringLiteral("Leonardo DiCaprio"), QStringLiteral("Joseph Gordon-Levitt"), QStringLiteral("Elliot Page"),
          QStringLiteral("Tom Hardy"), QStringLiteral("Ken Watanabe"), QStringLiteral("Cillian Murphy")},
         {QStringLiteral("Christopher Nolan")}, QStringLiteral("Hans Zimmer")},
        {155, QStringLiteral("The Dark Knight"), QStringLiteral("2008-07-16"), QStringLiteral("tt0468569"),
         QStringLiteral("PG-13"), {QStringLiteral("Drama"), QStringLiteral("Action")},
         QStringLiteral("Action & Adventure"), QStringLiteral("/darkknight.jpg"),
         {QStringLiteral("Christian Bale"), QStringLiteral("Heath Ledger"), QStringLiteral("Aaron Eckhart")},
         {QStringLiteral("Christopher Nolan")}, QStringLiteral("Hans Zimmer")},
        {49026, QStringLiteral("The Dark Knight Rises"), QStringLiteral("2012-07-16"), QStringLiteral("tt1345836"),
         QStringLiteral("PG-13"), {QStringLiteral("Action")}, QStringLiteral("Action & Adventure"),
         QStringLiteral("/darkknightrises.jpg"), {QStringLiteral("Christian Bale"), QStringLiteral("Tom Hardy")},
         {QStringLiteral("Christopher Nolan")}, QStringLiteral("Hans Zimmer")},
        {949, QStringLiteral("Heat"), QStringLiteral("1995-12-15"), QStringLiteral("tt0113277"), QStringLiteral("R"),
         {QStringLiteral("Action"), QStringLiteral("Crime")}, QString(), QStringLiteral("/heat.jpg"),
         {QStringLiteral("Al Pacino"), QStringLiteral("Robert De Niro")}, {QStringLiteral("Michael Mann")},
         QStringLiteral("Elliot Goldenthal")},
        {348, QStringLiteral("Alien"), QStringLiteral("1979-05-25"), QStringLiteral("tt0078748"), QStringLiteral("R"),
         {QStringLiteral("Horror"), QStringLiteral("Science Fiction")}, QStringLiteral("Horror"),
         QStringLiteral("/alien.png"), {QStringLiteral("Sigourney Weaver"), QStringLiteral("Tom Skerritt")},
         {QStringLiteral("Ridley Scott")}, QStringLiteral("Jerry Goldsmith")},
    };
    return movies;
}

bool g_legacy = false;
QSize g_originalSize(200, 300);

QStringList words(const QString &text)
{
    QStringList result;
    for (const QString &word : text.toLower().split(QRegularExpression(QStringLiteral("[^\\w]+")), Qt::SkipEmptyParts))
        result.append(word);
    return result;
}

StandinServer::Reply json(const QJsonObject &object, int status = 200)
{
    StandinServer::Reply reply;
    reply.status = status;
    reply.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return reply;
}

StandinServer::Reply tmdbError(int status)
{
    if (status == 401)
        return json({{QStringLiteral("status_code"), 7},
                     {QStringLiteral("status_message"), QStringLiteral("Invalid API key: You must be granted a valid key.")},
                     {QStringLiteral("success"), false}},
                    401);
    if (status == 404)
        return json({{QStringLiteral("status_code"), 34},
                     {QStringLiteral("status_message"), QStringLiteral("The resource you requested could not be found.")},
                     {QStringLiteral("success"), false}},
                    404);
    if (status == 429)
        return json({{QStringLiteral("status_code"), 25},
                     {QStringLiteral("status_message"),
                      QStringLiteral("Your request count (41) is over the allowed limit of 40.")}},
                    429);
    return json({{QStringLiteral("status_code"), 11},
                 {QStringLiteral("status_message"), QStringLiteral("Internal error: Something went wrong, contact TMDb.")},
                 {QStringLiteral("success"), false}},
                status);
}

bool keyAccepted(const StandinServer::Request &request)
{
    return request.query.queryItemValue(QStringLiteral("api_key")).toUtf8() == TmdbStandin::apiKey();
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
    if (!keyAccepted(request))
        return tmdbError(401);
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
    return json({{QStringLiteral("page"), 1},
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
    for (const QString &name : movie.directors)
        crew.append(QJsonObject{{QStringLiteral("job"), QStringLiteral("Director")},
                                {QStringLiteral("department"), QStringLiteral("Directing")},
                                {QStringLiteral("name"), name}});
    crew.append(QJsonObject{{QStringLiteral("job"), QStringLiteral("Screenplay")},
                            {QStringLiteral("department"), QStringLiteral("Writing")},
                            {QStringLiteral("name"), movie.directors.value(0)}});
    crew.append(QJsonObject{{QStringLiteral("job"), QStringLiteral("Producer")},
                            {QStringLiteral("department"), QStringLiteral("Production")},
                            {QStringLiteral("name"), QStringLiteral("Emma Thomas")}});
    crew.append(QJsonObject{{QStringLiteral("job"), QStringLiteral("Original Music Composer")},
                            {QStringLiteral("department"), QStringLiteral("Sound")},
                            {QStringLiteral("name"), movie.composer}});
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
    if (!keyAccepted(request))
        return tmdbError(401);
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
        {QStringLiteral("runtime"), 120},
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
    return json(answer);
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
    StandinServer::Reply reply;
    if (size != QLatin1String("original") && !sizes.contains(size)) {
        reply.status = 400;
        reply.contentType = "text/plain";
        reply.body = "Image size not supported";
        return reply;
    }
    const QString name = path.section(QLatin1Char('/'), -1);
    const QString base = name.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('-'), 0, 0);
    bool known = false;
    for (const Movie &movie : catalogue())
        known = known || movie.posterPath == QLatin1Char('/') + base + QLatin1Char('.') + name.section(QLatin1Char('.'), -1);
    if (name.startsWith(QStringLiteral("broken"))) {
        reply.contentType = "image/jpeg";
        reply.body = "this is not a picture";
        return reply;
    }
    if (!known) {
        reply.status = 404;
        reply.contentType = "text/html";
        reply.body = "<html><body>Not Found</body></html>";
        return reply;
    }
    const QSize pixels = size == QLatin1String("original") ? g_originalSize : sizes.value(size);
    reply.contentType = name.endsWith(QStringLiteral(".png")) ? "image/png" : "image/jpeg";
    reply.body = encodedPoster(path, pixels);
    return reply;
}

StandinServer::Reply itunesSearch(const StandinServer::Request &request)
{
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
    StandinServer::Reply reply = json({{QStringLiteral("resultCount"), results.size()}, {QStringLiteral("results"), results}});
    reply.contentType = "text/javascript; charset=utf-8";
    return reply;
}

StandinServer::Reply genres(const StandinServer::Request &)
{
    QJsonObject subgenres;
    subgenres.insert(QStringLiteral("4401"), QJsonObject{{QStringLiteral("name"), QStringLiteral("Action & Adventure")},
                                                         {QStringLiteral("id"), QStringLiteral("4401")}});
    subgenres.insert(QStringLiteral("4413"), QJsonObject{{QStringLiteral("name"), QStringLiteral("Sci-Fi & Fantasy")},
                                                         {QStringLiteral("id"), QStringLiteral("4413")}});
    StandinServer::Reply reply = json({{QStringLiteral("33"), QJsonObject{{QStringLiteral("name"), QStringLiteral("Movies")},
                                                                          {QStringLiteral("id"), QStringLiteral("33")},
                                                                          {QStringLiteral("subgenres"), subgenres}}}});
    reply.contentType = "text/javascript; charset=utf-8";
    return reply;
}

} // namespace

void TmdbStandin::install(StandinServer &server)
{
    server.addRoute(QStringLiteral("search"), "GET", QStringLiteral("/3/search/movie"), search, tmdbError);
    server.addRoute(QStringLiteral("details"), "GET", QStringLiteral("/3/movie/[0-9]+"), details, tmdbError);
    server.addRoute(QStringLiteral("image"), "GET", QStringLiteral("/t/p/[^/]+/.+"), image);
    server.addRoute(QStringLiteral("itunes"), "GET", QStringLiteral("/search"), itunesSearch);
    server.addRoute(QStringLiteral("genres"), "GET", QStringLiteral("/WebObjects/MZStoreServices.woa/ws/genres"), genres);
}

void TmdbStandin::exportEnvironment(const StandinServer &server)
{
    const QByteArray base = server.baseUrl().toUtf8();
    qputenv("KINOVELA_TMDB_API_URL", base);
    qputenv("KINOVELA_TMDB_IMAGE_URL", base);
    qputenv("KINOVELA_ITUNES_URL", base);
    qputenv("KINOVELA_ITUNES_GENRES_URL", base);
}

void TmdbStandin::setLegacyShapes(bool legacy)
{
    g_legacy = legacy;
}

void TmdbStandin::setOriginalPosterSize(const QSize &size)
{
    g_originalSize = size;
}
