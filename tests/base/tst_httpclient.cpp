#include "base/HttpClient.h"
#include "standin/StandinServer.h"
#include "support/TestEnvironment.h"

namespace {

struct Sent
{
    int calls = 0;
    HttpResponse response;
};

} // namespace

class TestHttpClient : public QObject
{
    Q_OBJECT

private:
    StandinServer *m_server = nullptr;

    QUrl url(const QString &path) const { return QUrl(m_server->baseUrl() + path); }

    Sent sendAndWait(const HttpRequest &request, QObject *context = nullptr)
    {
        auto outcome = std::make_shared<Sent>();
        QObject guard;
        HttpClient::forCurrentThread().send(request, context ? context : &guard, [outcome](const HttpResponse &response) {
            ++outcome->calls;
            outcome->response = response;
        });
        (void)QTest::qWaitFor([&] { return outcome->calls > 0; }, 20000);
        // Completions never come twice.
        QTest::qWait(50);
        return *outcome;
    }

private Q_SLOTS:
    void init()
    {
        m_server = new StandinServer(this);
        QVERIFY(m_server->start());
        m_server->addRoute(QStringLiteral("json"), "GET", QStringLiteral("/json"), [](const StandinServer::Request &) {
            return StandinServer::json({{QStringLiteral("answer"), 42}});
        });
        m_server->addRoute(QStringLiteral("echo"), "POST", QStringLiteral("/echo"), [](const StandinServer::Request &request) {
            return StandinServer::plain(200, "text/xml", request.body);
        });
        m_server->addRoute(QStringLiteral("javascript"), "GET", QStringLiteral("/js"), [](const StandinServer::Request &) {
            return StandinServer::plain(200, "text/javascript; charset=utf-8", "[1, 2]");
        });
    }

    void cleanup()
    {
        delete m_server;
        m_server = nullptr;
        qunsetenv("KINOVELA_HTTP_TIMEOUT_MS");
    }

    void deliversBodyAndStatus()
    {
        HttpRequest request;
        request.url = url(QStringLiteral("/echo"));
        request.method = "POST";
        request.body = "<methodCall/>";
        request.headers = {{"Content-Type", "text/xml"}, {"User-Agent", "Tester 1"}};
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QVERIFY2(outcome.response.ok(), qPrintable(outcome.response.errorText()));
        QCOMPARE(outcome.response.status, 200);
        QCOMPARE(outcome.response.body, QByteArray("<methodCall/>"));
        QCOMPARE(m_server->requests(QStringLiteral("echo")).constFirst().header("User-Agent"), QByteArray("Tester 1"));
    }

    void getJsonOutcomes_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("failure");
        QTest::addColumn<QString>("error"); // null: a usable answer; otherwise an error containing this
        using F = StandinServer::Failure;
        QTest::newRow("application/json") << QStringLiteral("/json") << int(F::None) << QString();
        QTest::newRow("text/javascript") << QStringLiteral("/js") << int(F::None) << QString();
        QTest::newRow("401") << QStringLiteral("/json") << int(F::Unauthorized) << QStringLiteral("401");
        QTest::newRow("404") << QStringLiteral("/json") << int(F::NotFound) << QStringLiteral("404");
        QTest::newRow("500") << QStringLiteral("/json") << int(F::ServerError)
                             << QStringLiteral("Response status code was unacceptable: 500.");
        QTest::newRow("invalid json") << QStringLiteral("/json") << int(F::InvalidJson) << QStringLiteral("");
        QTest::newRow("wrong content type") << QStringLiteral("/json") << int(F::WrongContentType) << QStringLiteral("");
        QTest::newRow("connection closed") << QStringLiteral("/json") << int(F::CloseConnection) << QStringLiteral("");
    }

    void getJsonOutcomes()
    {
        QFETCH(QString, path);
        QFETCH(int, failure);
        QFETCH(QString, error);
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure(failure));
        int calls = 0;
        QString given = QStringLiteral("unset");
        bool isNull = false;
        QObject context;
        HttpRequest request;
        request.url = url(path);
        HttpClient::forCurrentThread().getJson(request, &context, [&](const Outcome<Json> &json) {
            ++calls;
            given = json.errorText();
            isNull = !json.ok() || json->isNull();
        });
        QTRY_COMPARE_WITH_TIMEOUT(calls, 1, 20000);
        QTest::qWait(50);
        QCOMPARE(calls, 1);
        QCOMPARE(isNull, !error.isNull());
        QCOMPARE(given.isEmpty(), error.isNull());
        QVERIFY2(given.contains(error), qPrintable(given));
    }

    void silentServerTimesOut_data()
    {
        QTest::addColumn<bool>("fromEnvironment");
        QTest::newRow("request") << false;
        QTest::newRow("KINOVELA_HTTP_TIMEOUT_MS") << true;
    }

    void silentServerTimesOut()
    {
        QFETCH(bool, fromEnvironment);
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure::NoAnswer);
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        if (fromEnvironment)
            qputenv("KINOVELA_HTTP_TIMEOUT_MS", "300");
        else
            request.timeoutMs = 300;
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QCOMPARE(outcome.response.outcome.errorKind(), ErrorKind::TimedOut);
        QCOMPARE(outcome.response.errorText(), QStringLiteral("The request timed out."));
    }

    void tooManyRequestsIsRetriedOnce_data()
    {
        QTest::addColumn<int>("refusals");
        QTest::addColumn<int>("status");
        QTest::newRow("refused once") << 1 << 200;
        QTest::newRow("always refused") << -1 << 429;
    }

    void tooManyRequestsIsRetriedOnce()
    {
        QFETCH(int, refusals);
        QFETCH(int, status);
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure::TooManyRequests, refusals);
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        request.maxRetryAfterSeconds = 1;
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QCOMPARE(outcome.response.status, status);
        QCOMPARE(outcome.response.ok(), status == 200);
        // One retry at most, however often the server refuses.
        QCOMPARE(m_server->requests(QStringLiteral("json")).size(), 2);
    }

    void destroyedContextSuppressesTheCompletion()
    {
        m_server->setDelay(QStringLiteral("json"), 200);
        int calls = 0;
        auto *context = new QObject;
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        HttpClient::forCurrentThread().send(request, context, [&](const HttpResponse &) { ++calls; });
        delete context;
        QTest::qWait(600);
        QCOMPARE(calls, 0);
    }

    void unreachableServerIsAnError()
    {
        const QString dead = m_server->baseUrl();
        delete m_server;
        m_server = nullptr;
        HttpRequest request;
        request.url = QUrl(dead + QStringLiteral("/json"));
        request.timeoutMs = 5000;
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QVERIFY(!outcome.response.ok());
        QVERIFY(outcome.response.outcome.errorKind() != ErrorKind::TimedOut);
    }

    void answersOverTheLimitAreCutOff()
    {
        m_server->addRoute(QStringLiteral("big"), "GET", QStringLiteral("/big"), [](const StandinServer::Request &) {
            return StandinServer::plain(200, "application/json", QByteArray(3'000'000, ' ') + "{}");
        });
        HttpRequest request;
        request.url = url(QStringLiteral("/big"));
        request.maxBodyBytes = 1'000'000;
        const Sent cut = sendAndWait(request);
        QCOMPARE(cut.calls, 1);
        QCOMPARE(cut.response.outcome.errorKind(), ErrorKind::Invalid);
        QVERIFY(cut.response.body.isEmpty());
        request.maxBodyBytes = 4'000'000;
        QVERIFY(sendAndWait(request).response.ok());
    }

    void credentialsNeverFollowARedirectToAnotherHost_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("followed");
        QTest::newRow("no credential") << QByteArray() << QString() << true;
        QTest::newRow("Api-Key") << QByteArray("Api-Key") << QString() << false;
        QTest::newRow("bearer") << QByteArray("Authorization") << QString() << false;
        QTest::newRow("api_key parameter") << QByteArray() << QStringLiteral("api_key=secret") << false;
    }

    void credentialsNeverFollowARedirectToAnotherHost()
    {
        QFETCH(QByteArray, header);
        QFETCH(QString, query);
        QFETCH(bool, followed);
        StandinServer elsewhere;
        QVERIFY(elsewhere.start());
        elsewhere.addRoute(QStringLiteral("taken"), "POST", QStringLiteral("/taken"), [](const StandinServer::Request &) {
            return StandinServer::json({{QStringLiteral("ok"), true}});
        });
        const QString target = elsewhere.baseUrl() + QStringLiteral("/taken");
        m_server->addRoute(QStringLiteral("moved"), "POST", QStringLiteral("/moved"), [target](const StandinServer::Request &) {
            StandinServer::Reply reply = StandinServer::plain(307, "text/plain", QByteArray());
            reply.headers.append({QByteArrayLiteral("Location"), target.toUtf8()});
            return reply;
        });
        HttpRequest request;
        request.url = url(QStringLiteral("/moved") + (query.isEmpty() ? QString() : QLatin1Char('?') + query));
        request.method = "POST";
        request.body = R"({"password": "hunter2"})";
        if (!header.isEmpty())
            request.headers = {{header, "secret"}};
        const Sent sent = sendAndWait(request);
        QCOMPARE(sent.calls, 1);
        QCOMPARE(elsewhere.requests(QStringLiteral("taken")).size(), followed ? 1 : 0);
        QCOMPARE(sent.response.ok(), followed);
    }
};

KINOVELA_TEST_MAIN(TestHttpClient)
#include "tst_httpclient.moc"
