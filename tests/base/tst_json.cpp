#include "base/Json.h"
#include "support/TestEnvironment.h"

#include <QTest>

#include <limits>
#include <optional>

// A report shaped like the answers the app reads: nested objects, arrays,
// numbers given as text, nulls and booleans.
static const char *const sample = R"({
    "format": {"duration": "5.034000", "size": "12345", "bit_rate": 98765, "tags": {"title": "Amélie"}},
    "streams": [
        {"index": 0, "codec_type": "video", "width": 1280, "height": 720, "r": 23.976},
        {"index": 1, "codec_type": "audio", "channels": 6, "note": null}
    ],
    "flag": true,
    "empty": {},
    "nothing": null,
    "big": 1e30,
    "negative": -2.75,
    "spaced": "  42  ",
    "word": "abc"
})";

class TestJson : public QObject
{
    Q_OBJECT

private:
    Json m_root = Json::parse(QByteArray(sample));

    // Walks a path such as "streams/1/channels"; numeric pieces index arrays.
    Json at(const QString &path) const
    {
        Json value = m_root;
        if (path.isEmpty())
            return value;
        for (const QString &piece : path.split(QLatin1Char('/'))) {
            bool isIndex = false;
            const int index = piece.toInt(&isIndex);
            value = isIndex ? value[index] : value[QStringView(piece)];
        }
        return value;
    }

private Q_SLOTS:
    void parsingAcceptsOnlyJson_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("usable");
        QTest::addColumn<qsizetype>("count");
        QTest::newRow("object") << QByteArray(R"({"a":1,"b":2})") << true << qsizetype(2);
        QTest::newRow("array") << QByteArray("[1,2,3]") << true << qsizetype(3);
        QTest::newRow("empty bytes") << QByteArray() << false << qsizetype(0);
        QTest::newRow("html error page") << QByteArray("<html>502 Bad Gateway</html>") << false << qsizetype(0);
        QTest::newRow("cut short") << QByteArray(R"({"streams":[{"index":0)") << false << qsizetype(0);
        QTest::newRow("trailing garbage") << QByteArray(R"({"a":1} x)") << false << qsizetype(0);
    }
    void parsingAcceptsOnlyJson()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, usable);
        QFETCH(qsizetype, count);
        const Json json = Json::parse(bytes);
        QCOMPARE(json.isNull(), !usable);
        QCOMPARE(json.count(), count);
        // Lookups on whatever came out never fail.
        QVERIFY(json[QStringView(u"anything")][3][QStringView(u"deeper")].isNull());
    }

    void readingValues_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("integer");
        QTest::addColumn<double>("real");
        QTest::addColumn<bool>("isNull");

        QTest::newRow("decimal text") << "format/duration" << "5.034000" << qint64(5) << 5.034 << false;
        QTest::newRow("integer text") << "format/size" << "12345" << qint64(12345) << 12345.0 << false;
        QTest::newRow("integer number") << "format/bit_rate" << "98765" << qint64(98765) << 98765.0 << false;
        QTest::newRow("fraction number") << "streams/0/r" << "23.976" << qint64(23) << 23.976 << false;
        QTest::newRow("negative fraction") << "negative" << "-2.75" << qint64(-2) << -2.75 << false;
        QTest::newRow("padded number text") << "spaced" << "  42  " << qint64(42) << 42.0 << false;
        QTest::newRow("non-numeric text") << "word" << "abc" << qint64(0) << 0.0 << false;
        QTest::newRow("non-ASCII text") << "format/tags/title" << "Amélie" << qint64(0) << 0.0 << false;
        QTest::newRow("nested in array") << "streams/1/channels" << "6" << qint64(6) << 6.0 << false;
        QTest::newRow("boolean") << "flag" << "" << qint64(0) << 0.0 << false;
        QTest::newRow("object") << "format" << "" << qint64(0) << 0.0 << false;
        QTest::newRow("explicit null") << "nothing" << "" << qint64(0) << 0.0 << true;
        QTest::newRow("null in array element") << "streams/1/note" << "" << qint64(0) << 0.0 << true;
        QTest::newRow("missing member") << "format/absent" << "" << qint64(0) << 0.0 << true;
        QTest::newRow("index past end") << "streams/2/index" << "" << qint64(0) << 0.0 << true;
        QTest::newRow("negative index") << "streams/-1" << "" << qint64(0) << 0.0 << true;
        QTest::newRow("member of an array") << "streams/codec_type" << "" << qint64(0) << 0.0 << true;
        QTest::newRow("index into an object") << "format/0" << "" << qint64(0) << 0.0 << true;
        QTest::newRow("through a string") << "word/x/0" << "" << qint64(0) << 0.0 << true;
    }
    void readingValues()
    {
        QFETCH(QString, path);
        QFETCH(QString, text);
        QFETCH(qint64, integer);
        QFETCH(double, real);
        QFETCH(bool, isNull);
        const Json value = at(path);
        QCOMPARE(value.text(), text);
        QCOMPARE(value.integer(), integer);
        QCOMPARE(value.real(), real);
        QCOMPARE(value.isNull(), isNull);
    }

    void hugeNumbersStayInRange()
    {
        QCOMPARE(at(QStringLiteral("big")).integer(), std::numeric_limits<qint64>::max());
        QVERIFY(!at(QStringLiteral("big")).text().isEmpty());
        QCOMPARE(Json::parse(R"({"n":-1e300})")[QStringView(u"n")].integer(), std::numeric_limits<qint64>::min());
        QCOMPARE(Json::parse(R"({"n":"1e400"})")[QStringView(u"n")].integer(), qint64(0));
    }

    void optionalIntegerOnlyForNumbers_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("present");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("number") << "streams/0/width" << true << qint64(1280);
        QTest::newRow("fraction") << "streams/0/r" << true << qint64(23);
        QTest::newRow("number as text") << "format/size" << false << qint64(0);
        QTest::newRow("null") << "nothing" << false << qint64(0);
        QTest::newRow("missing") << "streams/0/depth" << false << qint64(0);
        QTest::newRow("boolean") << "flag" << false << qint64(0);
    }
    void optionalIntegerOnlyForNumbers()
    {
        QFETCH(QString, path);
        QFETCH(bool, present);
        QFETCH(qint64, expected);
        const std::optional<qint64> value = at(path).optionalInteger();
        QCOMPARE(value.has_value(), present);
        if (present)
            QCOMPARE(*value, expected);
    }

    void membersAndCounts()
    {
        QCOMPARE(at(QStringLiteral("streams")).count(), qsizetype(2));
        QCOMPARE(at(QStringLiteral("format")).count(), qsizetype(4));
        QCOMPARE(at(QStringLiteral("empty")).count(), qsizetype(0));
        QCOMPARE(at(QStringLiteral("word")).count(), qsizetype(0));

        // A member that is present with a null value is distinct from an absent one.
        QVERIFY(at(QStringLiteral("streams/1")).has(QStringLiteral("note")));
        QVERIFY(!at(QStringLiteral("streams/1")).has(QStringLiteral("width")));
        QVERIFY(!at(QStringLiteral("streams")).has(QStringLiteral("note")));
        QVERIFY(at(QStringLiteral("streams/1/note")).exists());
        QVERIFY(!at(QStringLiteral("streams/1/width")).exists());
    }

    void equalityIsForStringsOnly()
    {
        const Json video = at(QStringLiteral("streams/0/codec_type"));
        QVERIFY(video == "video");
        QVERIFY(video == QStringLiteral("video"));
        QVERIFY(!(video == "Video"));
        QVERIFY(!(at(QStringLiteral("format/bit_rate")) == "98765"));
        QVERIFY(!(at(QStringLiteral("nothing")) == ""));
        QVERIFY(!(at(QStringLiteral("missing")) == ""));
        QVERIFY(at(QStringLiteral("format/tags/title")) == "Amélie");
    }
};

KINOVELA_TEST_MAIN(TestJson)
#include "tst_json.moc"
