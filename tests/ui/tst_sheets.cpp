#include "WindowDriver.h"

#include "base/ServiceConfig.h"
#include "standin/OpenSubtitlesStandin.h"
#include "ui/MessageBar.h"
#include "subtitles/SubtitleCredentials.h"
#include "subtitles/SubtitleQuota.h"
#include "ui/DADImageView.h"
#include "ui/SettingsSheet.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QScopeGuard>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QTextEdit>
#include <QUndoStack>

/** Every sheet driven from the keyboard and the mouse: Return accepts, a double-click chooses, Escape cancels. */
class TestSheets : public QObject
{
    Q_OBJECT

private:
    WindowDriver d;

private Q_SLOTS:
    void initTestCase() { d.startServices(this); }

    void init()
    {
        d.openWindow();
        QVERIFY(d.importThree());
    }

    void cleanup() { d.closeWindow(); }

    void findMovieFromTheKeyboard()
    {
        d.selectMovie(QStringLiteral("Some.Home.Video.mkv"));
        QCOMPARE(d.action("findMovieBTN")->text(), QStringLiteral("Find Movie"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+I")));
        auto *sheet = d.find<QDialog>("moiveSearchWindow");
        auto *field = d.find<QLineEdit>("searchStringTF");
        auto *results = d.find<QTableWidget>("searchArrayController");
        auto *status = d.find<QLabel>("searchStatus");
        QTRY_VERIFY(sheet->isVisible());
        QCOMPARE(field->text(), QStringLiteral("Some Home Video"));
        QTRY_VERIFY_WITH_TIMEOUT(status->text().startsWith(QStringLiteral("No movie found")), 10000);

        // The text is selected: typing replaces it, Return searches.
        QTest::keyClicks(field, QStringLiteral("Alien"));
        QCOMPARE(field->text(), QStringLiteral("Alien"));
        WindowDriver::press(field, Qt::Key_Return);
        QVERIFY(sheet->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(results->rowCount(), 1, 10000);
        QCOMPARE(results->currentRow(), 0);
        d.screenshot(sheet, QStringLiteral("movie-search"));

        // Return again on the same text chooses the selected result.
        QSignalSpy applied(d.window, &AppDelegate::sheetFinished);
        WindowDriver::press(field, Qt::Key_Return);
        QVERIFY(applied.wait(10000));
        QVERIFY(!sheet->isVisible());
        const MovieItem item = d.itemNamed(QStringLiteral("Some.Home.Video.mkv"));
        QCOMPARE(item.value(ItemKey::movieTitle).toString(), QStringLiteral("Alien"));
        QCOMPARE(item.value(ItemKey::serialNumber).toLongLong(), 2);
        QCOMPARE(item.value(ItemKey::imdbID).toString(), QStringLiteral("tt0078748"));
        QCOMPARE(item.value(ItemKey::movieRating_US).toString(), QStringLiteral("mpaa|R|400|"));
        QCOMPARE(d.selectedFile(), QStringLiteral("Some.Home.Video.mkv"));
        QCOMPARE(d.action("findMovieBTN")->text(), QStringLiteral("Wrong Movie"));

        // A double-click on a result chooses it; Escape leaves everything as it was.
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+I")));
        QTRY_VERIFY(sheet->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(results->rowCount(), 1, 10000);
        WindowDriver::press(field, Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(d.itemNamed(QStringLiteral("Some.Home.Video.mkv")), item);
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+I")));
        QTRY_COMPARE_WITH_TIMEOUT(results->rowCount(), 1, 10000);
        d.doubleClickRow(results, 0);
        QVERIFY(applied.wait(10000));
        QVERIFY(!sheet->isVisible());
    }

    void theSheetKeepsItsMovie()
    {
        // The choice applies to the movie the sheet was opened for, even when the list's selection moved meanwhile.
        d.selectMovie(QStringLiteral("Some.Home.Video.mkv"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+I")));
        auto *field = d.find<QLineEdit>("searchStringTF");
        QTRY_VERIFY(d.find<QDialog>("moiveSearchWindow")->isVisible());
        field->selectAll();
        QTest::keyClicks(field, QStringLiteral("Alien"));
        WindowDriver::press(field, Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(d.find<QTableWidget>("searchArrayController")->rowCount(), 1, 10000);
        d.table()->selectRow(d.rowOf(QStringLiteral("Inception.mp4")));
        QSignalSpy applied(d.window, &AppDelegate::sheetFinished);
        WindowDriver::press(d.find<QTableWidget>("searchArrayController"), Qt::Key_Return);
        QVERIFY(applied.wait(10000));
        QCOMPARE(d.itemNamed(QStringLiteral("Some.Home.Video.mkv")).value(ItemKey::movieTitle).toString(), QStringLiteral("Alien"));
        QCOMPARE(d.itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::movieTitle).toString(), QStringLiteral("Inception"));
    }

    void subtitleFromTheKeyboard()
    {
        d.selectMovie(QStringLiteral("Inception.mp4"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+T")));
        auto *sheet = d.find<QDialog>("subtitleSearchWindow");
        auto *list = d.find<QTableWidget>("subtitleSearchArrayController");
        QTRY_VERIFY(sheet->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(list->rowCount(), 2, 10000); // only the "srt" subtitles, newest first
        QCOMPARE(list->item(0, 2)->text(), QStringLiteral("02:24:10"));
        QCOMPARE(list->currentRow(), 0);
        d.screenshot(sheet, QStringLiteral("subtitle-search"));
        QSignalSpy applied(d.window, &AppDelegate::sheetFinished);
        WindowDriver::press(list, Qt::Key_Return);
        QVERIFY(applied.wait(10000));
        QVERIFY(!sheet->isVisible());
        QFile saved(ServiceConfig::subtitlesFolder() + QStringLiteral("/Inception.srt"));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QVERIFY(saved.readAll().contains("Subtitle 1003"));
        QVERIFY(d.itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::subtitleFound).toBool());

        // Escape leaves the folder and the movie alone.
        const MovieItem heat = d.itemNamed(QStringLiteral("Heat.1995.avi"));
        d.selectMovie(QStringLiteral("Heat.1995.avi"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+T")));
        QTRY_VERIFY(sheet->isVisible());
        WindowDriver::press(list, Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
        QVERIFY(!QFile::exists(ServiceConfig::subtitlesFolder() + QStringLiteral("/Heat.1995.srt")));
        QCOMPARE(d.itemNamed(QStringLiteral("Heat.1995.avi")), heat);
    }

    void editorFromTheKeyboard()
    {
        // Return on the list opens the editor, as a double-click does.
        d.selectMovie(QStringLiteral("Inception.mp4"));
        WindowDriver::press(d.table(), Qt::Key_Return);
        auto *sheet = d.find<QDialog>("editMetadataWindow");
        QTRY_VERIFY(sheet->isVisible());
        auto *cast = d.find<QLineEdit>("editMovieCastTF");
        QCOMPARE(cast->text(), QStringLiteral("Leonardo DiCaprio, Joseph Gordon-Levitt, Elliot Page, Tom Hardy, Ken Watanabe"));
        QCOMPARE(d.find<QComboBox>("editMovieRatingCBX")->currentText(), QStringLiteral("PG-13"));
        d.screenshot(sheet, QStringLiteral("metadata-editor"));

        // Tab leaves the plot instead of typing a tab into it.
        auto *plot = d.find<QTextEdit>("editMovieOverviewTF");
        const QString story = plot->toPlainText();
        plot->setFocus();
        WindowDriver::press(plot, Qt::Key_Tab);
        QCOMPARE(plot->toPlainText(), story);

        cast->setText(QStringLiteral("Ann Lee, Bo Chan"));
        auto *title = d.find<QLineEdit>("editMovieTitleTF");
        title->selectAll();
        QTest::keyClicks(title, QStringLiteral("AC/DC: Live"));
        WindowDriver::press(title, Qt::Key_Return); // saves, never opens Choose Poster
        QVERIFY(!sheet->isVisible());
        QVERIFY(!d.find<QDialog>("posterSearchWindow")->isVisible());
        MovieItem item = d.itemNamed(QStringLiteral("Inception.mp4"));
        QCOMPARE(item.value(ItemKey::movieTitle).toString(), QStringLiteral("AC/DC: Live"));
        QCOMPARE(item.value(ItemKey::movieCast).toString(), QStringLiteral("Ann Lee\nBo Chan"));
        QCOMPARE(item.value(ItemKey::movieReleaseDate_YYYYhMMhDD).toString(), QStringLiteral("2010-07-15"));
        QCOMPARE(d.selectedFile(), QStringLiteral("Inception.mp4"));

        // Escape cancels; Undo takes the edit back, Redo makes it again.
        d.doubleClickRow(d.table(), d.rowOf(QStringLiteral("Inception.mp4")));
        QTRY_VERIFY(sheet->isVisible());
        title->setText(QStringLiteral("Thrown away"));
        WindowDriver::press(title, Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(d.itemNamed(QStringLiteral("Inception.mp4")), item);
        d.shortcut(QKeySequence::Undo);
        QCOMPARE(d.itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::movieTitle).toString(), QStringLiteral("Inception"));
        d.shortcut(QKeySequence::Redo);
        QCOMPARE(d.itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::movieTitle).toString(), QStringLiteral("AC/DC: Live"));

        // An unidentified movie opens with empty fields and no poster choice; saving creates the keys.
        d.selectMovie(QStringLiteral("Some.Home.Video.mkv"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+E")));
        QTRY_VERIFY(sheet->isVisible());
        QCOMPARE(cast->text(), QString());
        QVERIFY(!d.find<QPushButton>("changePosterBTN_insideMetadataWindow")->isEnabled());
        WindowDriver::press(cast, Qt::Key_Return);
        QVERIFY(d.itemNamed(QStringLiteral("Some.Home.Video.mkv")).contains(ItemKey::movieCast));
    }

    void posterChooserAndDropTarget()
    {
        d.selectMovie(QStringLiteral("Inception.mp4"));
        const MovieItem before = d.itemNamed(QStringLiteral("Inception.mp4"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+E")));
        auto *poster = d.find<DADImageView>("editMoviePosterIV");
        const ItemImage original = poster->image();
        auto *sheet = d.find<QDialog>("posterSearchWindow");
        auto *list = d.find<QListWidget>("postersListArrayController");
        QTest::mouseClick(d.find<QPushButton>("changePosterBTN_insideMetadataWindow"), Qt::LeftButton);
        QTRY_VERIFY(sheet->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 10000); // the English posters only
        d.screenshot(sheet, QStringLiteral("poster-search"));
        WindowDriver::press(list, Qt::Key_Escape); // closes the chooser only
        QVERIFY(!sheet->isVisible());
        QVERIFY(d.find<QDialog>("editMetadataWindow")->isVisible());
        QCOMPARE(poster->image(), original);

        QTest::mouseClick(d.find<QPushButton>("changePosterBTN_insideMetadataWindow"), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 10000);
        WindowDriver::press(list, Qt::Key_Right);
        QCOMPARE(list->currentRow(), 1);
        WindowDriver::press(list, Qt::Key_Return);
        QTRY_VERIFY_WITH_TIMEOUT(!sheet->isVisible(), 10000);
        QVERIFY(!(poster->image() == original));

        // Drops: a JPEG named in capitals is taken, a WebP file is refused.
        QImage picture(30, 45, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);
        const QString jpeg = d.files.filePath(QStringLiteral("Poster.JPG"));
        QVERIFY(picture.save(jpeg, "JPEG"));
        const QString webp = d.files.filePath(QStringLiteral("poster.webp"));
        QFile(webp).open(QIODevice::WriteOnly);
        auto drop = [poster](const QString &path) {
            QMimeData data;
            data.setUrls({QUrl::fromLocalFile(path)});
            QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(poster, &enter);
            if (enter.isAccepted()) {
                QDropEvent dropped(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
                QCoreApplication::sendEvent(poster, &dropped);
            }
            return enter.isAccepted();
        };
        QVERIFY(!drop(webp));
        QVERIFY(drop(jpeg));
        QCOMPARE(poster->image().size(), QSize(30, 45));

        // Cancelling the editor leaves the movie's poster as it was.
        WindowDriver::press(d.find<QLineEdit>("editMovieTitleTF"), Qt::Key_Escape);
        QCOMPARE(d.itemNamed(QStringLiteral("Inception.mp4")), before);
    }

    void batchEditAppliesToTheSelection()
    {
        d.selectMovie(QStringLiteral("Inception.mp4"));
        d.clickRow(d.rowOf(QStringLiteral("Heat.1995.avi")), Qt::ControlModifier);
        QCOMPARE(d.table()->selectedItems().size(), 2);
        QVERIFY(!d.action("editMetadataBTN")->isEnabled()); // one movie at a time
        QVERIFY(d.action("batchEditBTN")->text().contains(QStringLiteral("2 Movies")));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+Shift+E")));
        auto *sheet = d.find<QDialog>("batchEditWindow");
        QTRY_VERIFY(sheet->isVisible());
        QVERIFY(d.find<QLabel>("batchEditCount")->text().contains(QStringLiteral("2 selected movies")));
        QCOMPARE(d.find<QPushButton>("okBTN_insideBatchEditWindow")->text(), QStringLiteral("Apply to 2 Movies"));
        auto *language = d.find<QLineEdit>("batchMovieLanguageTF");
        QTest::keyClicks(language, QStringLiteral("French"));
        d.screenshot(sheet, QStringLiteral("batch-edit"));
        const QString genreOfHeat = d.itemNamed(QStringLiteral("Heat.1995.avi")).value(ItemKey::movieGenre).toString();
        WindowDriver::press(language, Qt::Key_Return); // applies: the typed text is kept
        QVERIFY(!sheet->isVisible());
        QCOMPARE(d.itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::movieLanguage).toString(), QStringLiteral("French"));
        QCOMPARE(d.itemNamed(QStringLiteral("Heat.1995.avi")).value(ItemKey::movieLanguage).toString(), QStringLiteral("French"));
        QCOMPARE(d.itemNamed(QStringLiteral("Heat.1995.avi")).value(ItemKey::movieGenre).toString(), genreOfHeat);
        QVERIFY(d.itemNamed(QStringLiteral("Some.Home.Video.mkv")).value(ItemKey::movieLanguage).toString() != QStringLiteral("French"));
        QCOMPARE(d.table()->selectedItems().size(), 2);

        // One undo takes the whole batch back; Escape in the sheet changes nothing.
        d.shortcut(QKeySequence::Undo);
        QVERIFY(d.itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::movieLanguage).toString() != QStringLiteral("French"));
        QVERIFY(d.itemNamed(QStringLiteral("Heat.1995.avi")).value(ItemKey::movieLanguage).toString() != QStringLiteral("French"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+Shift+E")));
        QTRY_VERIFY(sheet->isVisible());
        WindowDriver::press(language, Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
        QVERIFY(d.itemNamed(QStringLiteral("Inception.mp4")).value(ItemKey::movieLanguage).toString() != QStringLiteral("French"));
    }

    void removeAndUndo()
    {
        d.selectMovie(QStringLiteral("Heat.1995.avi"));
        d.shortcut(QKeySequence::Delete);
        QCOMPARE(d.window->core()->list()->count(), 2);
        QCOMPARE(d.rowOf(QStringLiteral("Heat.1995.avi")), -1);
        QCOMPARE(d.selectedFile(), QStringLiteral("Some.Home.Video.mkv")); // the next row, so Delete can go on
        QVERIFY(d.action("undoMI")->text().contains(QStringLiteral("Remove Heat.1995.avi")));
        d.shortcut(QKeySequence::Undo);
        QCOMPARE(d.window->core()->list()->count(), 3);
        QCOMPARE(d.rowOf(QStringLiteral("Heat.1995.avi")), 1); // back in its place
        QCOMPARE(d.selectedFile(), QStringLiteral("Heat.1995.avi"));
        d.shortcut(QKeySequence::SelectAll);
        d.shortcut(QKeySequence::Delete);
        QCOMPARE(d.window->core()->list()->count(), 0);
        QVERIFY(!d.action("saveBTN")->isEnabled());
        d.shortcut(QKeySequence::Undo);
        QCOMPARE(d.window->core()->list()->count(), 3);
    }

    void settingsFromTheKeyboard()
    {
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        auto *sheet = d.find<QDialog>("settingsWindow");
        QTRY_VERIFY(sheet->isVisible());
        auto *languages = d.find<QComboBox>("languageSettingsPUBTN");
        QCOMPARE(languages->currentText(), QStringLiteral("English"));
        // The common languages first, then every language by name.
        QCOMPARE(languages->itemText(0), QStringLiteral("English"));
        QCOMPARE(languages->itemText(1), QStringLiteral("Spanish; Castilian"));
        const int common = SettingsSheet::commonLanguages().size();
        QStringList rest;
        for (int row = common + 1; row < languages->count(); ++row)
            rest.append(languages->itemText(row));
        QStringList sorted = rest;
        std::sort(sorted.begin(), sorted.end(), [](const QString &a, const QString &b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
        QCOMPARE(rest, sorted);
        QVERIFY(!rest.contains(QStringLiteral("English")));
        // Each preset says what happens to the originals.
        QVERIFY(d.find<QLabel>("preset3Description")->text().contains(QStringLiteral("original goes to the Trash")));
        QVERIFY(d.find<QLabel>("preset1Description")->text().contains(QStringLiteral("in place")));
        d.screenshot(sheet, QStringLiteral("settings"));

        // Escape puts back the preset chosen meanwhile; Return stores the choice.
        QTest::mouseClick(d.find<QRadioButton>("preset1"), Qt::LeftButton, Qt::NoModifier, QPoint(8, 8));
        QCOMPARE(d.window->core()->conversionOption(), Preset::TagInPlace);
        WindowDriver::press(languages, Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(d.window->core()->conversionOption(), Preset::Convert);
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        QTRY_VERIFY(sheet->isVisible());
        QTest::mouseClick(d.find<QRadioButton>("preset4"), Qt::LeftButton, Qt::NoModifier, QPoint(8, 8));
        languages->setFocus();
        WindowDriver::press(languages, Qt::Key_Down); // English -> Spanish
        WindowDriver::press(languages, Qt::Key_Return);
        QVERIFY(!sheet->isVisible());
        const QSettings stored(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
        QCOMPARE(stored.value(QStringLiteral("convertionOptions")).toInt(), 4);
        QCOMPARE(stored.value(QStringLiteral("selectedSearchLanguage")).toMap().value(QStringLiteral("alpha2")).toString(),
                 QStringLiteral("es"));
    }

    void subtitleServiceAndAllowance()
    {
        qunsetenv("KINOVELA_OPENSUBTITLES_PROVIDER");
        qputenv("KINOVELA_OPENSUBTITLES_API_KEY", OpenSubtitlesStandin::restApiKey());
        SubtitleQuota::forget();
        d.server->clearRequests();
        const auto restore = qScopeGuard([] {
            qputenv("KINOVELA_OPENSUBTITLES_PROVIDER", "legacy");
            qunsetenv("KINOVELA_OPENSUBTITLES_API_KEY");
            SubtitleQuota::forget();
            OpenSubtitlesStandin::setDownloadQuota(100);
        });

        // The service is chosen in the settings; the sheet says what the allowance is.
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        auto *sheet = d.find<QDialog>("settingsWindow");
        QTRY_VERIFY(sheet->isVisible());
        auto *service = d.find<QComboBox>("openSubtitlesProviderPU");
        auto *allowance = d.find<QLabel>("openSubtitlesAllowance");
        QVERIFY(service->isEnabled());
        QCOMPARE(service->currentText(), QStringLiteral("OpenSubtitles.com"));
        QVERIFY2(allowance->text().contains(QStringLiteral("first download")), qPrintable(allowance->text()));
        service->setFocus();
        WindowDriver::press(service, Qt::Key_Down);
        QCOMPARE(service->currentText(), QStringLiteral("legacy (members only)"));
        QVERIFY(allowance->text().contains(QStringLiteral("paying members")));
        WindowDriver::press(service, Qt::Key_Return);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(SubtitleCredentials::provider(), SubtitleCredentials::Provider::Legacy);
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        QTRY_VERIFY(sheet->isVisible());
        QTest::mouseClick(d.find<QRadioButton>("preset4"), Qt::LeftButton, Qt::NoModifier, QPoint(8, 8));
        service->setFocus();
        WindowDriver::press(service, Qt::Key_Up);
        WindowDriver::press(service, Qt::Key_Return);
        QCOMPARE(SubtitleCredentials::provider(), SubtitleCredentials::Provider::Rest);

        // One download left and two movies: asked before anything is spent; Escape imports nothing.
        OpenSubtitlesStandin::setDownloadQuota(1);
        SubtitleQuota::record(SubtitleQuota{1, QDateTime(QDate(2099, 1, 1), QTime(14, 0), Qt::UTC)});
        const QStringList two{d.movie(QStringLiteral("Heat.1995.avi"), QStringLiteral("mpeg4-mp3.avi")),
                              d.movie(QStringLiteral("The.Dark.Knight.2008.720p.mkv"), QStringLiteral("h264-ac3-srt.mkv"))};
        const auto question = [this] {
            QMessageBox *box = nullptr;
            const bool shown = QTest::qWaitFor([&] {
                box = d.window->findChild<QMessageBox *>(QStringLiteral("subtitleAllowanceQuestion"));
                return box && box->isVisible();
            });
            return shown ? box : nullptr;
        };
        QVERIFY(d.drop(two));
        QMessageBox *asked = question();
        QVERIFY(asked);
        QVERIFY2(asked->informativeText().contains(QStringLiteral("allows only 1 more")), qPrintable(asked->informativeText()));
        d.screenshot(asked, QStringLiteral("subtitle-allowance"));
        WindowDriver::press(asked, Qt::Key_Escape);
        QTRY_VERIFY(!d.window->findChild<QMessageBox *>(QStringLiteral("subtitleAllowanceQuestion")));
        QCOMPARE(d.table()->model()->rowCount(), 3);
        QVERIFY(d.server->requests(QStringLiteral("rest-download")).isEmpty());

        // Import Anyway: one movie gets the last download, the other says why it has none.
        QSignalSpy finished(d.window->core(), &AppCore::importFinished);
        QVERIFY(d.drop(two));
        asked = question();
        QVERIFY(asked);
        WindowDriver::press(asked, Qt::Key_Return);
        QVERIFY(finished.wait(30000));
        const MovieItem heat = d.itemNamed(QStringLiteral("Heat.1995.avi"));
        const MovieItem knight = d.itemNamed(QStringLiteral("The.Dark.Knight.2008.720p.mkv"));
        QCOMPARE(int(heat.value(ItemKey::subtitleFound).toBool()) + int(knight.value(ItemKey::subtitleFound).toBool()), 1);
        const MovieItem without = heat.value(ItemKey::subtitleFound).toBool() ? knight : heat;
        const QString note = without.value(ItemKey::subtitleNote).toString();
        QVERIFY2(note.contains(QStringLiteral("download limit reached until")), qPrintable(note));
        const QModelIndex cell = d.table()->model()->index(d.rowOf(without.value(ItemKey::fileName).toString()),
                                                           MovieListModel::SubtitleStatusColumn);
        QCOMPARE(cell.data(Qt::DisplayRole).toString(), QStringLiteral("No subtitle"));
        QCOMPARE(cell.data(Qt::ToolTipRole).toString(), note);
        QTRY_VERIFY(d.window->messageBar()->messages().join(QString()).contains(QStringLiteral("download limit reached until")));

        // The subtitle window says it too, and a refused download names the limit.
        d.selectMovie(without.value(ItemKey::fileName).toString());
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+T")));
        auto *subtitles = d.find<QDialog>("subtitleSearchWindow");
        auto *list = d.find<QTableWidget>("subtitleSearchArrayController");
        QTRY_VERIFY(subtitles->isVisible());
        QVERIFY(d.find<QLabel>("subtitleAllowance")->text().contains(QStringLiteral("download limit reached until")));
        QTRY_VERIFY_WITH_TIMEOUT(list->rowCount() > 0, 10000);
        WindowDriver::press(list, Qt::Key_Return);
        auto *status = d.find<QLabel>("subtitleStatus");
        QTRY_VERIFY2(status->text().contains(QStringLiteral("download limit reached until")), qPrintable(status->text()));
        d.screenshot(subtitles, QStringLiteral("subtitle-limit"));
        WindowDriver::press(list, Qt::Key_Escape);
        QVERIFY(!subtitles->isVisible());
    }

    void conversionProfileFromTheSettings()
    {
        const QSettings stored(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
        auto *sheet = d.find<QDialog>("settingsWindow");
        auto *profiles = d.find<QComboBox>("conversionProfilePUBTN");
        // Escape forgets the choice made meanwhile.
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        QTRY_VERIFY(sheet->isVisible());
        QVERIFY(profiles->currentText().startsWith(QStringLiteral("Classic")));
        profiles->setFocus();
        WindowDriver::press(profiles, Qt::Key_Down);
        QVERIFY(profiles->currentText().startsWith(QStringLiteral("Modern")));
        WindowDriver::press(profiles, Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
        QVERIFY(!stored.contains(QStringLiteral("conversionProfile")));
        // Return stores it, and the sheet shows it next time.
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        QTRY_VERIFY(sheet->isVisible());
        QVERIFY(profiles->currentText().startsWith(QStringLiteral("Classic")));
        profiles->setFocus();
        WindowDriver::press(profiles, Qt::Key_Down);
        WindowDriver::press(profiles, Qt::Key_Return);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(stored.value(QStringLiteral("conversionProfile")).toString(), QStringLiteral("modern"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        QTRY_VERIFY(sheet->isVisible());
        QVERIFY(profiles->currentText().startsWith(QStringLiteral("Modern")));
        WindowDriver::press(profiles, Qt::Key_Escape);
    }
};

KINOVELA_TEST_MAIN_IMPL(TestSheets, QApplication)
#include "tst_sheets.moc"
