#include "app/AppCore.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "base/ServiceConfig.h"
#include "base/UserSettings.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "support/TestEnvironment.h"
#include "ui/AppDelegate.h"
#include "ui/DADImageView.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTableWidget>

class TestWindow : public QObject
{
    Q_OBJECT

private:
    StandinServer *m_server = nullptr;
    QTemporaryDir m_files;
    AppDelegate *m_window = nullptr;

    template<typename T>
    T *find(const char *name) const
    {
        T *widget = m_window->findChild<T *>(QString::fromLatin1(name));
        if (!widget)
            qWarning("no widget named %s", name);
        return widget;
    }

    void click(const char *name) { find<QPushButton>(name)->click(); }
    void trigger(const char *name) { find<QAction>(name)->trigger(); }

    void screenshot(QWidget *widget, const QString &name)
    {
        const QString folder = qEnvironmentVariable("KINOVELA_BUILD_DIR") + QStringLiteral("/screenshots");
        QDir().mkpath(folder);
        widget->grab().save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
    }

    QUrl movie(const QString &name, const QString &source)
    {
        const QString path = m_files.filePath(name);
        QFile::remove(path);
        QFile::copy(TestEnvironment::media(source), path);
        return QUrl::fromLocalFile(path);
    }

    int rowOf(const QString &fileName) const
    {
        const MovieListModel *list = m_window->core()->list();
        for (int row = 0; row < list->count(); ++row) {
            if (list->itemAt(row).value(ItemKey::fileName).toString() == fileName)
                return row;
        }
        return -1;
    }

    MovieItem itemNamed(const QString &fileName) const { return m_window->core()->list()->itemAt(rowOf(fileName)); }

    bool importMovies()
    {
        QSignalSpy finished(m_window->core()->importer(), &ImportPipeline::finished);
        m_window->core()->importer()->setStagger(0);
        m_window->openFiles({movie(QStringLiteral("Inception.mp4"), QStringLiteral("h264-aac.mp4")),
                             movie(QStringLiteral("Heat.1995.avi"), QStringLiteral("mpeg4-mp3.avi")),
                             movie(QStringLiteral("Some.Home.Video.mkv"), QStringLiteral("h264-ac3-srt.mkv"))});
        return finished.wait(30000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = new StandinServer(this);
        QVERIFY(m_server->start());
        StandinServices::installAll(*m_server);
        StandinServices::exportEnvironment(*m_server);
    }

    void init()
    {
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).clear();
        m_window = new AppDelegate;
        m_window->applicationDidFinishLaunching();
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window));
        QVERIFY(importMovies());
    }

    void cleanup()
    {
        delete m_window;
        m_window = nullptr;
    }

    void importListsEveryMovieInChosenOrder()
    {
        const MovieListModel *list = m_window->core()->list();
        QCOMPARE(list->count(), 3);
        QCOMPARE(list->itemAt(0).value(ItemKey::movieTitle).toString(), QStringLiteral("Inception"));
        QCOMPARE(list->itemAt(1).value(ItemKey::movieTitle).toString(), QStringLiteral("Heat"));
        QCOMPARE(list->itemAt(2).value(ItemKey::movieTitle).toString(), QString());
        QTRY_VERIFY(!find<QDialog>("progressWindow")->isVisible());
        // The last row is selected: an unidentified movie shows "Find Movie".
        QCOMPARE(list->selectedRow(), 2);
        QCOMPARE(find<QAction>("findMovieBTN")->text(), QStringLiteral("Find Movie"));
        list->selectionModel()->clear();
        m_window->core()->list()->selectRow(0);
        QCOMPARE(find<QAction>("findMovieBTN")->text(), QStringLiteral("Wrong Movie"));
        screenshot(m_window, QStringLiteral("main-window"));
    }

    void findMovieReplacesTheItemInPlace()
    {
        m_window->core()->list()->selectRow(2);
        QSignalSpy sheets(m_window, &AppDelegate::sheetFinished);
        trigger("findMovieBTN");
        auto *sheet = find<QDialog>("moiveSearchWindow");
        QTRY_VERIFY(sheet->isVisible());
        QCOMPARE(find<QLineEdit>("searchStringTF")->text(), QStringLiteral("Some Home Video"));
        find<QLineEdit>("searchStringTF")->setText(QStringLiteral("Alien"));
        click("searchBTN_InsideSearchWindow");
        auto *results = find<QTableWidget>("searchArrayController");
        QTRY_COMPARE_WITH_TIMEOUT(results->rowCount(), 1, 10000);
        QCOMPARE(results->currentRow(), 0);
        screenshot(sheet, QStringLiteral("movie-search"));

        click("okBTN_InsideSearchWindow");
        QTRY_VERIFY_WITH_TIMEOUT(!sheet->isVisible(), 10000);
        const MovieItem item = m_window->core()->list()->itemAt(2);
        QCOMPARE(item.value(ItemKey::movieTitle).toString(), QStringLiteral("Alien"));
        QCOMPARE(item.value(ItemKey::searchString).toString(), QStringLiteral("Alien"));
        QCOMPARE(item.value(ItemKey::serialNumber).toLongLong(), 2);
        QCOMPARE(item.value(ItemKey::imdbID).toString(), QStringLiteral("tt0078748"));
        QCOMPARE(item.value(ItemKey::movieGenre).toString(), QStringLiteral("Horror"));
        QCOMPARE(item.value(ItemKey::movieRating_US).toString(), QStringLiteral("mpaa|R|400|"));
        QCOMPARE(m_window->core()->list()->selectedRow(), 2);
        QCOMPARE(find<QAction>("findMovieBTN")->text(), QStringLiteral("Wrong Movie"));

        // Cancel changes nothing.
        trigger("findMovieBTN");
        QTRY_VERIFY(sheet->isVisible());
        click("cancelBTN_InsideSearchWindow");
        QVERIFY(!sheet->isVisible());
        QCOMPARE(m_window->core()->list()->itemAt(2), item);
    }

    void subtitleListIsSortedAndTheChoiceIsDownloaded()
    {
        m_window->core()->list()->selectRow(0);
        trigger("changeSubtitleBTN");
        auto *sheet = find<QDialog>("subtitleSearchWindow");
        QTRY_VERIFY_WITH_TIMEOUT(sheet->isVisible(), 10000);
        auto *list = find<QTableWidget>("subtitleSearchArrayController");
        QCOMPARE(list->rowCount(), 2); // only the "srt" subtitles
        QCOMPARE(list->item(0, 2)->text(), QStringLiteral("02:24:10"));
        QCOMPARE(list->item(1, 2)->text(), QStringLiteral("02:21:30"));
        QCOMPARE(list->currentRow(), 0);
        screenshot(sheet, QStringLiteral("subtitle-search"));

        click("downloadBTN_Inside_SubtitleSearchWindow");
        QTRY_VERIFY_WITH_TIMEOUT(!sheet->isVisible(), 10000);
        const QString saved = ServiceConfig::subtitlesFolder() + QStringLiteral("/Inception.srt");
        QVERIFY(QFile::exists(saved));
        QFile file(saved);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("Subtitle 1003"));
        QCOMPARE(itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::subtitleFound).toBool(), true);

        // Cancel leaves the folder and the item alone.
        const MovieItem before = itemNamed(QStringLiteral("Heat.1995.avi"));
        m_window->core()->list()->selectRow(rowOf(QStringLiteral("Heat.1995.avi")));
        trigger("changeSubtitleBTN");
        QTRY_VERIFY_WITH_TIMEOUT(sheet->isVisible(), 10000);
        click("cancelBTN_Inside_SubtitleSearchWindow");
        QVERIFY(!QFile::exists(ServiceConfig::subtitlesFolder() + QStringLiteral("/Heat.1995.srt")));
        QCOMPARE(itemNamed(QStringLiteral("Heat.1995.avi")), before);
    }

    void editorRoundTrip()
    {
        m_window->core()->list()->selectRow(0);
        trigger("editMetadataBTN");
        auto *sheet = find<QDialog>("editMetadataWindow");
        QTRY_VERIFY(sheet->isVisible());
        auto *cast = find<QLineEdit>("editMovieCastTF");
        QCOMPARE(cast->text(), QStringLiteral("Leonardo DiCaprio, Joseph Gordon-Levitt, Elliot Page, Tom Hardy, Ken Watanabe"));
        QCOMPARE(find<QComboBox>("editMovieRatingCBX")->currentText(), QStringLiteral("PG-13"));
        screenshot(sheet, QStringLiteral("metadata-editor"));

        cast->setText(QStringLiteral("Ann Lee, Bo Chan"));
        find<QComboBox>("editMovieRatingCBX")->setCurrentText(QStringLiteral("None"));
        find<QLineEdit>("editMovieTitleTF")->setText(QStringLiteral("AC/DC: Live"));
        click("closeBTN_insideEditMetadataWindow");
        QVERIFY(!sheet->isVisible());

        const MovieItem item = m_window->core()->list()->itemAt(0);
        QCOMPARE(item.value(ItemKey::movieTitle).toString(), QStringLiteral("AC/DC: Live"));
        QCOMPARE(item.value(ItemKey::movieCast).toString(), QStringLiteral("Ann Lee\nBo Chan"));
        QCOMPARE(item.value(ItemKey::movieRating_US).toString(), QString());
        QCOMPARE(item.value(ItemKey::movieRating_US_Icon).value<ItemImage>().resourceName(), QStringLiteral("blank"));
        QCOMPARE(item.value(ItemKey::movieReleaseDate_YYYYhMMhDD).toString(), QStringLiteral("2010-07-15"));
        QCOMPARE(item.value(ItemKey::movieReleaseDate_BEAUTIFIED).toString(), QStringLiteral("Jul 15, 2010"));
        QCOMPARE(item.value(ItemKey::movieDirectors).toString(), QStringLiteral("Christopher Nolan"));
        QCOMPARE(m_window->core()->list()->selectedRow(), 0);

        // An unidentified movie opens with empty fields; saving creates the keys.
        m_window->core()->list()->selectRow(2);
        trigger("editMetadataBTN");
        QCOMPARE(find<QLineEdit>("editMovieCastTF")->text(), QString());
        click("closeBTN_insideEditMetadataWindow");
        QVERIFY(m_window->core()->list()->itemAt(2).contains(ItemKey::movieCast));
    }

    void batchEditChangesEveryRowAndKeepsTheSelection()
    {
        m_window->core()->list()->selectRow(1);
        trigger("batchEditBTN");
        auto *sheet = find<QDialog>("batchEditWindow");
        QTRY_VERIFY(sheet->isVisible());
        find<QLineEdit>("batchMovieLanguageTF")->setText(QStringLiteral("French"));
        screenshot(sheet, QStringLiteral("batch-edit"));
        const QString genreOfFirst = m_window->core()->list()->itemAt(0).value(ItemKey::movieGenre).toString();
        click("okBTN_insideBatchEditWindow");
        for (const MovieItem &item : m_window->core()->list()->items())
            QCOMPARE(item.value(ItemKey::movieLanguage).toString(), QStringLiteral("French"));
        QCOMPARE(m_window->core()->list()->itemAt(0).value(ItemKey::movieGenre).toString(), genreOfFirst);
        QCOMPARE(m_window->core()->list()->selectedRow(), 1);
    }

    void posterSearchAndDropTarget()
    {
        m_window->core()->list()->selectRow(0);
        const MovieItem before = m_window->core()->list()->itemAt(0);
        trigger("editMetadataBTN");
        auto *poster = find<DADImageView>("editMoviePosterIV");
        const ItemImage original = poster->image();
        click("changePosterBTN_insideMetadataWindow");
        auto *sheet = m_window->findChild<QDialog *>(QStringLiteral("posterSearchWindow"));
        QTRY_VERIFY(sheet->isVisible());
        auto *list = sheet->findChild<QListWidget *>(QStringLiteral("postersListArrayController"));
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 10000); // the English posters only
        screenshot(sheet, QStringLiteral("poster-search"));

        // Cancel keeps the view's poster.
        sheet->findChild<QPushButton *>(QStringLiteral("cancelBTN_insidePosterSearchWindow"))->click();
        QCOMPARE(poster->image(), original);

        click("changePosterBTN_insideMetadataWindow");
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 10000);
        list->setCurrentRow(1);
        sheet->findChild<QPushButton *>(QStringLiteral("okBTN_insidePosterSearchWindow"))->click();
        QTRY_VERIFY_WITH_TIMEOUT(!sheet->isVisible(), 10000);
        QVERIFY(!(poster->image() == original));

        // Drops: a JPEG named in capitals is taken, a WebP file is refused.
        QImage picture(30, 45, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);
        const QString jpeg = m_files.filePath(QStringLiteral("Poster.JPG"));
        QVERIFY(picture.save(jpeg, "JPEG"));
        const QString webp = m_files.filePath(QStringLiteral("poster.webp"));
        QFile(webp).open(QIODevice::WriteOnly);
        auto drop = [poster](const QStringList &paths) {
            QMimeData data;
            QList<QUrl> urls;
            for (const QString &path : paths)
                urls.append(QUrl::fromLocalFile(path));
            data.setUrls(urls);
            QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(poster, &enter);
            const bool accepted = enter.isAccepted();
            if (accepted) {
                QDropEvent dropEvent(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
                QCoreApplication::sendEvent(poster, &dropEvent);
            }
            return accepted;
        };
        QVERIFY(!drop({webp}));
        QVERIFY(!poster->droppedFilePath().has_value());
        QVERIFY(drop({jpeg, webp}));
        QCOMPARE(poster->droppedFilePath().value_or(QString()), jpeg);
        QCOMPARE(poster->image().size(), QSize(30, 45));

        // Cancelling the editor leaves the item's poster as it was.
        click("cancelBTN_insideEditMetadataWindow");
        QCOMPARE(m_window->core()->list()->itemAt(0), before);
    }

    void saveEndsWithTheAlert_data()
    {
        QTest::addColumn<int>("preset");
        QTest::newRow("tag in place") << 1;
        QTest::newRow("convert all") << 3;
    }

    void saveEndsWithTheAlert()
    {
        QFETCH(int, preset);
        m_window->core()->setConversionOption(Preset(preset));
        // Only identified movies: the unidentified one is removed first.
        m_window->core()->list()->selectRow(2);
        trigger("removeBTN");
        QCOMPARE(m_window->core()->list()->count(), 2);
        QTemporaryDir destination;
        QSignalSpy finished(m_window, &AppDelegate::creationFinished);
        m_window->creationTaskWithDestinationFolder(destination.path());
        QVERIFY(finished.wait(60000));
        const auto results = finished.constFirst().constFirst().value<QList<CreationResult>>();
        QCOMPARE(results.size(), 2);
        auto *alert = m_window->findChild<QMessageBox *>(QStringLiteral("creationAlert"));
        QVERIFY(alert);
        QTRY_VERIFY(alert->isVisible());
        QCOMPARE(alert->text(), QStringLiteral("Movies Created Sucessfully!"));
        screenshot(m_window, QStringLiteral("save-alert-preset-%1").arg(preset));
        QVERIFY(QFile::exists(destination.filePath(QStringLiteral("Heat.mp4"))));
        if (preset == 1) {
            // The identified MP4 is tagged where it lies.
            QVERIFY(QFile::exists(m_files.filePath(QStringLiteral("Inception.mp4"))));
            QVERIFY(!QFile::exists(destination.filePath(QStringLiteral("Inception.mp4"))));
        } else {
            QVERIFY(QFile::exists(destination.filePath(QStringLiteral("Inception.mp4"))));
            QVERIFY(!QFile::exists(m_files.filePath(QStringLiteral("Inception.mp4"))));
        }
        alert->accept();
    }
};

Q_DECLARE_METATYPE(QList<CreationResult>)

KINOVELA_TEST_MAIN_IMPL(TestWindow, QApplication)
#include "tst_window.moc"
