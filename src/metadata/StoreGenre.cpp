#include "metadata/StoreGenre.h"

#include "base/AnswerCache.h"
#include "base/Diagnostics.h"
#include "base/HttpClient.h"
#include "base/ServiceConfig.h"
#include "metadata/TMDB.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <deque>

namespace StoreGenre {
namespace {

MovieItem genreRecord(const QString &genre)
{
    return MovieItem{{ItemKey::movieGenre, genre}, {ItemKey::genreFound, !genre.isEmpty()}};
}

std::function<void(const QString &)> &problemListener()
{
    static std::function<void(const QString &)> listener;
    return listener;
}

void tellThrottled()
{
    const QString message = QStringLiteral("The iTunes store is refusing genre lookups as too many (403): movies get "
                                           "TMDb's genre until it answers again.");
    Diagnostics::warn(message);
    if (problemListener())
        problemListener()(message);
}

int fromEnvironment(const char *name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok && value >= 0 ? value : fallback;
}

const AnswerCache &cache()
{
    static const AnswerCache store(QStringLiteral("store"));
    return store;
}

QString cacheKey(const QString &movieTitle, const QString &movieReleaseYear)
{
    return ServiceConfig::itunesUrl() + QLatin1Char('\n') + movieTitle + QLatin1Char('\n') + movieReleaseYear;
}

/**
 * The store's requests, one every intervalMs(), and the lookups waiting for
 * them: one entry per title and year, however many asked.
 */
class Queue
{
public:
    using Answer = std::function<void(const std::optional<QString> &storeGenre)>;

    static Queue &instance()
    {
        // Kept for the whole run (its timer belongs to the application object).
        static Queue *queue = new Queue;
        return *queue;
    }

    int pending() const { return m_pending; }

    void ask(const QString &title, const QString &year, Answer answer, Turn turn)
    {
        ++m_pending;
        const QString key = cacheKey(title, year);
        const bool asked = m_waiting.contains(key);
        m_waiting[key].append(std::move(answer));
        if (!asked)
            enqueue([this, title, year, key] { send(title, year, key, false); }, turn);
    }

    void whenSettled(QObject *context, std::function<void()> done)
    {
        m_settled.append({QPointer<QObject>(context), std::move(done)});
        QTimer::singleShot(0, QCoreApplication::instance(), [this] { settle(); });
    }

private:
    void enqueue(std::function<void()> job, Turn turn = Turn::Last)
    {
        if (turn == Turn::First)
            m_jobs.push_front(std::move(job));
        else
            m_jobs.push_back(std::move(job));
        schedule();
    }

    void schedule()
    {
        if (m_timer->isActive() || m_jobs.empty())
            return;
        const qint64 since = m_lastStart.isValid() ? m_lastStart.elapsed() : qint64(intervalMs());
        m_timer->start(int(std::max<qint64>(0, intervalMs() - since)));
    }

    void runNext()
    {
        if (m_jobs.empty())
            return;
        std::function<void()> job = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_lastStart.start();
        job();
        schedule();
    }

    void send(const QString &title, const QString &year, const QString &key, bool retried)
    {
        HttpClient::forCurrentThread().send(
            TMDB::jsonRequest(genreSearchUrl(title)), QCoreApplication::instance(),
            [this, title, year, key, retried](const HttpResponse &response) {
                if (response.status == 403 && !retried) {
                    Diagnostics::write(QStringLiteral("In iTunes Genre Finder : %1 -> the store is throttling (403); "
                                                      "asking again in %2 s")
                                           .arg(title)
                                           .arg(throttleWaitMs() / 1000.0));
                    QTimer::singleShot(throttleWaitMs(), QCoreApplication::instance(), [this, title, year, key] {
                        enqueue([this, title, year, key] { send(title, year, key, true); });
                    });
                    return;
                }
                if (response.status == 403)
                    tellThrottled();
                const Outcome<Json> answer = HttpClient::jsonOf(response, false);
                if (!answer) {
                    Diagnostics::write(QStringLiteral("In iTunes Genre Finder : ") + title + QStringLiteral(" -> ")
                                       + answer.errorText());
                    finish(key, std::nullopt);
                    return;
                }
                const QString genre = storeGenreIn(*answer, year);
                cache().store(key, QJsonDocument(QJsonObject{{QStringLiteral("storeGenre"), genre}}).toJson(QJsonDocument::Compact));
                finish(key, genre);
            });
    }

    void finish(const QString &key, const std::optional<QString> &genre)
    {
        const QList<Answer> answers = m_waiting.take(key);
        m_pending -= int(answers.size());
        for (const Answer &answer : answers)
            answer(genre);
        settle();
    }

    void settle()
    {
        if (m_pending > 0)
            return;
        const auto waiting = std::exchange(m_settled, {});
        for (const auto &[context, done] : waiting) {
            if (context)
                done();
        }
    }

    Queue()
        : m_timer(new QTimer(QCoreApplication::instance()))
    {
        m_timer->setSingleShot(true);
        QObject::connect(m_timer, &QTimer::timeout, m_timer, [this] { runNext(); });
    }

    std::deque<std::function<void()>> m_jobs;
    QHash<QString, QList<Answer>> m_waiting;
    QList<std::pair<QPointer<QObject>, std::function<void()>>> m_settled;
    QTimer *m_timer;
    QElapsedTimer m_lastStart;
    int m_pending = 0;
};

} // namespace

void setProblemListener(std::function<void(const QString &message)> listener)
{
    problemListener() = std::move(listener);
}

int intervalMs()
{
    return fromEnvironment("KINOVELA_STORE_INTERVAL_MS", 3500);
}

int throttleWaitMs()
{
    return fromEnvironment("KINOVELA_STORE_RETRY_MS", 60000);
}

QString storeGenreIn(const Json &answer, const QString &movieReleaseYear)
{
    // Entries past the returned array read as empty and match nothing, so a
    // huge "resultCount" must not make us walk them.
    const qint64 count = std::min<qint64>(answer["resultCount"].integer(), answer["results"].count());
    for (qint64 i = 0; i < count; ++i) {
        const Json result = answer["results"][qsizetype(i)];
        // The store may answer with other kinds of items than movies.
        if (result.has(QStringLiteral("kind")) && !(result["kind"] == "feature-movie"))
            continue;
        const QString date = result["releaseDate"].text();
        if (date.size() >= 4 && date.left(4) == movieReleaseYear)
            return result["primaryGenreName"].text();
    }
    return {};
}

MovieItem parseGenre(const Json &answer, const QString &movieReleaseYear, const QString &tmdbGenre)
{
    const QString genre = storeGenreIn(answer, movieReleaseYear);
    return genreRecord(genre.isEmpty() ? tmdbGenre : genre);
}

QUrl genreSearchUrl(const QString &movieTitle)
{
    return QUrl::fromEncoded((ServiceConfig::itunesUrl() + QStringLiteral("/search?term=")
                              + TMDB::encodeQueryText(movieTitle) + QStringLiteral("&entity=movie"))
                                 .toUtf8());
}

std::optional<MovieItem> cachedGenre(const QString &movieTitle, const QString &movieReleaseYear, const QString &tmdbGenre)
{
    const std::optional<QByteArray> stored = cache().find(cacheKey(movieTitle, movieReleaseYear));
    if (!stored)
        return std::nullopt;
    const Json answer = Json::parse(*stored);
    if (!answer.has(QStringLiteral("storeGenre")))
        return std::nullopt;
    const QString genre = answer["storeGenre"].text();
    return genreRecord(genre.isEmpty() ? tmdbGenre : genre);
}

void getGenreFromiTunesStoreWithMovieTitle(const QString &movieTitle, const QString &movieReleaseYear,
                                           const QString &tmdbGenre, GenreCompletion completion, Turn turn)
{
    if (const std::optional<MovieItem> cached = cachedGenre(movieTitle, movieReleaseYear, tmdbGenre)) {
        QTimer::singleShot(0, QCoreApplication::instance(), [completion, record = *cached] { completion(record); });
        return;
    }
    Queue::instance().ask(movieTitle, movieReleaseYear, [completion, tmdbGenre](const std::optional<QString> &genre) {
        completion(genreRecord(genre && !genre->isEmpty() ? *genre : tmdbGenre));
    }, turn);
}

int pending()
{
    return Queue::instance().pending();
}

void whenSettled(QObject *context, std::function<void()> done)
{
    Queue::instance().whenSettled(context, std::move(done));
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
