#include "media/MovieItemFacts.h"
#include "app/MovieListModel.h"
#include "base/ItemImage.h"
#include "media/FileProbe.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QItemSelectionModel>
#include <QSignalSpy>

namespace {

MovieItem item(qint64 serial, const QString &title = QString())
{
    return {{ItemKey::serialNumber, serial}, {ItemKey::movieTitle, title}};
}

QList<qint64> serials(const MovieListModel &list)
{
    QList<qint64> result;
    for (const MovieItem &entry : list.items())
        result.append(entry.value(ItemKey::serialNumber).toLongLong());
    return result;
}

QVariantMap track(const char *type, const char *codec, const char *info)
{
    return {{TrackKey::trackType, QString::fromLatin1(type)},
            {TrackKey::trackCodec, QString::fromLatin1(codec)},
            {TrackKey::trackSpecialInfo, QString::fromLatin1(info)}};
}

ItemImage poster(Qt::GlobalColor color)
{
    QImage image(200, 300, QImage::Format_RGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return ItemImage::fromEncoded(bytes);
}

QImage decoration(const MovieListModel &list, int row)
{
    return list.data(list.index(row, MovieListModel::PosterColumn), Qt::DecorationRole).value<QImage>();
}

QColor middle(const QImage &image)
{
    return image.pixelColor(image.width() / 2, image.height() / 2);
}

} // namespace

class TestMovieList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendNeverMovesTheSelectionAndArrangeSortsBySerialNumber()
    {
        MovieListModel list;
        list.append(item(2, QStringLiteral("two")));
        QCOMPARE(list.selectedRow(), 0);
        list.append(item(0, QStringLiteral("zero")));
        list.selectRow(1);
        list.append(item(1, QStringLiteral("one")));
        QCOMPARE(list.selectedRow(), 1);
        list.arrange();
        QCOMPARE(serials(list), (QList<qint64>{0, 1, 2}));
        // The selection follows its item through the arrangement.
        QCOMPARE(list.selectedItem()->value(ItemKey::movieTitle).toString(), QStringLiteral("zero"));
        QCOMPARE(list.rowCount(), 3);
        QCOMPARE(list.data(list.index(0, MovieListModel::TitleColumn)).toString(), QStringLiteral("zero"));
    }

    void replaceInPlaceKeepsPositionAndSelection()
    {
        MovieListModel list;
        for (qint64 i = 0; i < 3; ++i)
            list.append(item(i, QStringLiteral("old %1").arg(i)));
        list.selectRow(1);
        MovieItem edited = *list.selectedItem();
        edited.insert(ItemKey::movieTitle, QStringLiteral("new"));
        QSignalSpy inserted(&list, &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(&list, &QAbstractItemModel::rowsRemoved);
        QVERIFY(list.replaceSelected(edited));
        QCOMPARE(inserted.size(), 1);
        QCOMPARE(removed.size(), 1);
        QCOMPARE(list.count(), 3);
        QCOMPARE(list.itemAt(1).value(ItemKey::movieTitle).toString(), QStringLiteral("new"));
        QCOMPARE(list.selectedRow(), 1);

        list.replaceAt(2, item(2, QStringLiteral("batch")));
        QCOMPARE(list.itemAt(2).value(ItemKey::movieTitle).toString(), QStringLiteral("batch"));
        QCOMPARE(serials(list), (QList<qint64>{0, 1, 2}));
    }

    void operationsWithoutSelectionDoNothing()
    {
        MovieListModel list;
        QVERIFY(!list.removeSelected());
        QVERIFY(!list.replaceSelected(item(0)));
        QVERIFY(!list.selectedItem().has_value());
        list.append(item(0));
        list.append(item(1));
        list.selectionModel()->clearSelection();
        QCOMPARE(list.selectedRow(), -1);
        QVERIFY(!list.removeSelected());
        QCOMPARE(list.count(), 2);
        list.selectRow(0);
        QVERIFY(list.removeSelected());
        QCOMPARE(serials(list), QList<qint64>{1});
        list.clear();
        QCOMPARE(list.count(), 0);
        QCOMPARE(list.selectedRow(), -1);
    }

    void postersShowAsThumbnailsThatFollowThePoster()
    {
        MovieListModel list;
        MovieItem movie = item(0);
        movie.insert(ItemKey::moviePoster, QVariant::fromValue(poster(Qt::red)));
        list.append(movie);
        list.append(movie);
        const QImage first = decoration(list, 0);
        QCOMPARE(first.size(), QSize(45, 68)); // fits thumbnailSize(), aspect kept
        QCOMPARE(middle(first), QColor(Qt::red));
        // Painted again, or in another row holding the same image: the very same picture, not decoded anew.
        QCOMPARE(decoration(list, 0).cacheKey(), first.cacheKey());
        QCOMPARE(decoration(list, 1).cacheKey(), first.cacheKey());

        // A changed poster shows at once; an equal image made separately shows just the same.
        movie.insert(ItemKey::moviePoster, QVariant::fromValue(poster(Qt::blue)));
        list.replaceAt(0, movie);
        QCOMPARE(middle(decoration(list, 0)), QColor(Qt::blue));
        movie.insert(ItemKey::moviePoster, QVariant::fromValue(poster(Qt::red)));
        list.replaceAt(0, movie);
        QCOMPARE(middle(decoration(list, 0)), QColor(Qt::red));
        QCOMPARE(middle(decoration(list, 1)), QColor(Qt::red));

        movie.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage()));
        list.replaceAt(0, movie);
        QVERIFY(decoration(list, 0).isNull());
    }

    void trackSummariesJoinEachKindInOrder()
    {
        const QVariantList tracks = {track("Video", "h264", "1920x1080"), track("Audio", "aac", "stereo"),
                                     track("Audio", "ac3", "5.1(side)"), track("Poster", "png", "200x300"),
                                     track("Other", "bin_data", "text")};
        QCOMPARE(MovieItemFacts::trackSummary(tracks, TrackType::Video), QStringLiteral("h264(1920x1080)"));
        QCOMPARE(MovieItemFacts::trackSummary(tracks, TrackType::Audio), QStringLiteral("aac(stereo), ac3(5.1(side))"));
        QCOMPARE(MovieItemFacts::trackSummary(tracks, TrackType::Subtitle), QString());
    }

    void fileFactsFromAProbe_data()
    {
        QTest::addColumn<QString>("media");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("hd");
        QTest::addColumn<QString>("subtitles");
        QTest::newRow("719 lines") << QStringLiteral("h719.mp4") << QStringLiteral("a.b.c.mkv") << false << QString();
        QTest::newRow("720 lines") << QStringLiteral("h720.mp4") << QStringLiteral("Movie.mp4") << true << QString();
        QTest::newRow("srt track") << QStringLiteral("h264-ac3-srt.mkv") << QStringLiteral("With Subs.mkv") << false
                                   << QStringLiteral("subrip(eng)");
    }

    void fileFactsFromAProbe()
    {
        QFETCH(QString, media);
        QFETCH(QString, name);
        QFETCH(bool, hd);
        QFETCH(QString, subtitles);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        QVERIFY(QFile::copy(TestEnvironment::media(media), path));
        const FileProbe probe(path);
        QVERIFY(probe.isAcceptable());
        const MovieItem facts = MovieItemFacts::fromProbe(probe, 7);
        QCOMPARE(facts.size(), 17);
        QCOMPARE(facts.value(ItemKey::hdFlag).toBool(), hd);
        QCOMPARE(facts.value(ItemKey::subtitleString).toString(), subtitles);
        QCOMPARE(facts.value(ItemKey::serialNumber).toLongLong(), 7);
        QCOMPARE(facts.value(ItemKey::mediaType).toLongLong(), 9);
        QCOMPARE(facts.value(ItemKey::encodingTool).toString(), QStringLiteral("Kinovela"));
        QCOMPARE(facts.value(ItemKey::fileName).toString(), name);
        QCOMPARE(facts.value(ItemKey::filePath).toString(), path);
        QCOMPARE(facts.value(ItemKey::fileURL).toUrl(), QUrl::fromLocalFile(path));
        const QString stem = name.left(name.lastIndexOf(QLatin1Char('.')));
        QCOMPARE(facts.value(ItemKey::fileString).toString(), stem);
        QCOMPARE(facts.value(ItemKey::searchString).toString(), QString(stem).replace(QLatin1Char('.'), QLatin1Char(' ')));
        QVERIFY(facts.value(ItemKey::videoString).toString().startsWith(QStringLiteral("h264(")));
        QCOMPARE(facts.value(ItemKey::fileSize).toString(), probe.fileSizeHuman.value());
    }
};

KINOVELA_TEST_MAIN(TestMovieList)
#include "tst_movielist.moc"
