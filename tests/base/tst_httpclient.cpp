#include "base/HttpClient.h"
#include "standin/StandinServer.h"
#include "support/TestEnvironment.h"

#include <QElapsedTimer>
#include <QSignalSpy>

namespace {

struct Sent
{
    int calls = 0;
    HttpResponse response;
};

StandinServer::Reply jsonReply(const QByteArray &body)
{
    StandinServer::Reply reply;
    reply.body = body;
    return reply;
}

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
        m_server->addRoute(QStringLiteral("json"), "GET", QStringLiteral("/json"),
                           [](const StandinServer::Request &) { return jsonReply(R"({"answer": 42})"); });
        m_server->addRoute(QStringLiteral("echo"), "POST", QStringLiteral("/echo"), [](const StandinServer::Request &request) {
            StandinServer::Reply reply;
            reply.contentType = "text/xml";
            reply.body = request.body;
            return reply;
        });
        m_server->addRoute(QStringLiteral("javascript"), "GET", QStringLiteral("/js"), [](const StandinServer::Request &) {
            StandinServer::Reply reply = jsonReply(R"([1, 2])");
            reply.contentType = "text/javascript; charset=utf-8";
            return reply;
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

    void getJsonAcceptsJsonContentTypes_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("application/json") << QStringLiteral("/json");
        QTest::newRow("text/javascript") << QStringLiteral("/js");
    }

    void getJsonAcceptsJsonContentTypes()
    {
        QFETCH(QString, path);
        int calls = 0;
        QString error = QStringLiteral("unset");
        bool isNull = true;
        QObject context;
        HttpRequest request;
        request.url = url(path);
        HttpClient::forCurrentThread().getJson(request, &context, [&](const Outcome<Json> &json) {
            ++calls;
            error = json.errorText();
            isNull = !json.ok() || json->isNull();
        });
        QTRY_COMPARE_WITH_TIMEOUT(calls, 1, 20000);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QVERIFY(!isNull);
    }

    void failuresEndWithOneCompletionAndAnError_data()
    {
        QTest::addColumn<int>("failure");
        QTest::addColumn<QString>("errorContains");
        QTest::newRow("401") << int(StandinServer::Failure::Unauthorized) << QStringLiteral("401");
        QTest::newRow("404") << int(StandinServer::Failure::NotFound) << QStringLiteral("404");
        QTest::newRow("500") << int(StandinServer::Failure::ServerError)
                             << QStringLiteral("Response status code was unacceptable: 500.");
        QTest::newRow("invalid json") << int(StandinServer::Failure::InvalidJson) << QString();
        QTest::newRow("wrong content type") << int(StandinServer::Failure::WrongContentType) << QString();
        QTest::newRow("connection closed") << int(StandinServer::Failure::CloseConnection) << QString();
    }

    void failuresEndWithOneCompletionAndAnError()
    {
        QFETCH(int, failure);
        QFETCH(QString, errorContains);
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure(failure));
        int calls = 0;
        QString error;
        bool isNull = false;
        QObject context;
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        HttpClient::forCurrentThread().getJson(request, &context, [&](const Outcome<Json> &json) {
            ++calls;
            error = json.errorText();
            isNull = !json.ok() || json->isNull();
        });
        QTRY_COMPARE_WITH_TIMEOUT(calls, 1, 20000);
        QTest::qWait(50);
        QCOMPARE(calls, 1);
        QVERIFY(!error.isEmpty());
        QVERIFY(isNull);
        if (!errorContains.isEmpty())
            QVERIFY2(error.contains(errorContains), qPrintable(error));
    }

    void silentServerTimesOut()
    {
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure::NoAnswer);
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        request.timeoutMs = 300;
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QCOMPARE(outcome.response.outcome.errorKind(), ErrorKind::TimedOut);
        QCOMPARE(outcome.response.errorText(), QStringLiteral("The request timed out."));
    }

    void timeOutComesFromTheEnvironment()
    {
        qputenv("KINOVELA_HTTP_TIMEOUT_MS", "300");
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure::NoAnswer);
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QCOMPARE(outcome.response.outcome.errorKind(), ErrorKind::TimedOut);
    }

    void retriesOnceAfterTooManyRequests()
    {
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure::TooManyRequests, 1);
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        request.maxRetryAfterSeconds = 2;
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QVERIFY2(outcome.response.ok(), qPrintable(outcome.response.errorText()));
        QCOMPARE(m_server->requests(QStringLiteral("json")).size(), 2);
    }

    void tooManyRequestsWithoutRetryIsAnError()
    {
        m_server->setFailure(QStringLiteral("json"), StandinServer::Failure::TooManyRequests);
        HttpRequest request;
        request.url = url(QStringLiteral("/json"));
        request.maxRetryAfterSeconds = 1;
        const Sent outcome = sendAndWait(request);
        QCOMPARE(outcome.calls, 1);
        QCOMPARE(outcome.response.status, 429);
        QVERIFY(!outcome.response.ok());
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
};

KINOVELA_TEST_MAIN(TestHttpClient)
#include "tst_httpclient.moc"
