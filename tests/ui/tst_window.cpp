#include "WindowDriver.h"

#include "app/ServiceProblems.h"
#include "ui/LogWindow.h"
#include "ui/MessageBar.h"
#include "ui/PosterPanel.h"
#include "ui/ProgressSheet.h"
#include "ui/SaveResultDialog.h"
#include "ui/WindowActions.h"

#include <QCompleter>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QToolBar>

/** The main window as a person uses it: Open, the list, failures, Save, quitting. */
class TestWindow : public QObject
{
    Q_OBJECT

private:
    WindowDriver d;


    /** A converter that writes a little and then takes its time, as ffmpeg does with a long movie. */
    QString slowConverter()
    {
        const QString path = d.files.filePath(QStringLiteral("slow-ffmpeg"));
        QFile script(path);
        if (!script.open(QIODevice::WriteOnly))
            return {};
        script.write("#!/bin/sh\nfor last; do :; done\nprintf 'partial' > \"$last\"\nexec sleep 30\n");
        script.close();
        script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
        return path;
    }

    QStringList filesIn(const QString &folder) { return QDir(folder).entryList(QDir::Files | QDir::Hidden); }

private Q_SLOTS:
    void initTestCase() { d.startServices(this); }
    void init() { d.openWindow(); }
    void cleanup()
    {
        qunsetenv("KINOVELA_FFMPEG");
        d.closeWindow();
    }

    void emptyWindowSaysWhatToDo()
    {
        // Nothing that needs a movie can be used yet; the list says how to begin.
        for (const char *name : {"saveBTN", "findMovieBTN", "changeSubtitleBTN", "editMetadataBTN", "batchEditBTN", "removeBTN"})
            QVERIFY2(!d.action(name)->isEnabled(), name);
        QVERIFY(d.action("openMoviesBTN")->isEnabled());
        QVERIFY(d.action("presetsBTN")->isEnabled());
        // Every command is in the menu bar; shortcuts show in the tooltips; pictures come from the icon theme.
        QStringList inMenus;
        for (QAction *menu : d.window->menuBar()->actions())
            for (QAction *entry : menu->menu()->actions())
                inMenus.append(entry->objectName());
        for (const char *name : {"openMoviesBTN", "saveBTN", "presetsBTN", "quitMI", "undoMI", "redoMI", "findMovieBTN",
                                 "changeSubtitleBTN", "editMetadataBTN", "batchEditBTN", "removeBTN", "selectAllMI",
                                 "filterMI", "showLogMI", "aboutMI"})
            QVERIFY2(inMenus.contains(QString::fromLatin1(name)), name);
        QCOMPARE(d.action("openMoviesBTN")->toolTip(), QStringLiteral("Open movie files to identify and tag (Ctrl+O)"));
        QVERIFY(d.action("saveBTN")->toolTip().endsWith(QStringLiteral("(Ctrl+S)")));
        QVERIFY(d.action("removeBTN")->toolTip().endsWith(QStringLiteral("(Del)")));
        QSet<qint64> pictures;
        for (QAction *entry : d.find<QToolBar>("toolbar")->actions()) {
            if (entry->isSeparator() || entry->text().isEmpty())
                continue;
            QVERIFY2(!entry->icon().isNull(), qPrintable(entry->objectName()));
            pictures.insert(entry->icon().cacheKey());
        }
        QCOMPARE(pictures.size(), 8); // no two commands share a picture
        // The first window fits the screen.
        const QRect screen = d.window->screen()->availableGeometry();
        QVERIFY(d.window->frameGeometry().width() <= screen.width());
        QVERIFY(d.window->frameGeometry().height() <= screen.height());
        d.screenshot(d.window, QStringLiteral("main-window-empty"));
    }

    void openWithTheFileChooser()
    {
        // The movies are in a folder of their own, below the folder the chooser starts in.
        const QString folder = d.files.filePath(QStringLiteral("Incoming"));
        QVERIFY(QDir().mkpath(folder));
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).setValue(QStringLiteral("window/openFolder"), d.files.path());
        QVERIFY(QFile::copy(TestEnvironment::media(QStringLiteral("text.txt")), folder + QStringLiteral("/Notes.mkv")));
        QVERIFY(QFile::copy(TestEnvironment::media(QStringLiteral("h264-aac.mp4")), folder + QStringLiteral("/Inception.mp4")));
        QVERIFY(QFile::copy(TestEnvironment::media(QStringLiteral("mpeg4-mp3.avi")), folder + QStringLiteral("/Heat.1995.avi")));
        d.shortcut(QKeySequence::Open);
        QFileDialog *dialog = d.chooser("openPanel");
        QVERIFY(dialog);
        QVERIFY(dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))); // Qt's own chooser
        QVERIFY(dialog->nameFilters().constFirst().startsWith(QStringLiteral("Video files (*.mkv *.mp4")));
        // The folder's name and Return go into it; then the names, quoted, and Return open them.
        WindowDriver::typeIntoChooser(dialog, QStringLiteral("Incoming"));
        QTRY_COMPARE(QDir(dialog->directory()).canonicalPath(), QDir(folder).canonicalPath());
        d.screenshot(dialog, QStringLiteral("open-chooser"));
        QSignalSpy finished(d.window->core(), &AppCore::importFinished);
        WindowDriver::typeIntoChooser(dialog, QStringLiteral("\"Inception.mp4\" \"Notes.mkv\" \"Heat.1995.avi\""));
        QVERIFY(finished.wait(30000));
        QCOMPARE(d.window->core()->list()->count(), 2);
        QCOMPARE(d.itemNamed(QStringLiteral("Heat.1995.avi")).value(ItemKey::serialNumber).toLongLong(), 2);
        // The file that is not a movie is named in the window, not dropped without a word.
        QTRY_VERIFY(d.window->messageBar()->isVisible());
        QVERIFY(d.window->messageBar()->messages().join(QString()).contains(QStringLiteral("Notes.mkv was not added")));

        // The next Open starts in the same folder; Escape closes it and changes nothing.
        d.shortcut(QKeySequence::Open);
        dialog = d.chooser("openPanel");
        QVERIFY(dialog);
        QCOMPARE(QDir(dialog->directory()).canonicalPath(), QDir(folder).canonicalPath());
        QTest::keyClick(dialog, Qt::Key_Escape);
        QTRY_VERIFY(!d.window->findChild<QFileDialog *>(QStringLiteral("openPanel")));
        QCOMPARE(d.window->core()->list()->count(), 2);
    }

    void progressStaysUpAndTheSelectionStays()
    {
        // The last file is not a movie: the sheet ends with its probe while the movies' lookups are still out.
        d.server->setDelay(QStringLiteral("search"), 1500);
        d.window->core()->importer()->setStagger(1.0);
        auto *progress = d.find<ProgressSheet>("progressWindow");
        QSignalSpy finished(d.window->core(), &AppCore::importFinished);
        QVERIFY(d.drop({d.movie(QStringLiteral("Heat.1995.avi"), QStringLiteral("mpeg4-mp3.avi")),
                        d.movie(QStringLiteral("Inception.mp4")), TestEnvironment::media(QStringLiteral("text.txt"))}));
        QTRY_VERIFY(progress->isVisible());
        QVERIFY(d.find<QLabel>("progressCount")->text().startsWith(QStringLiteral("1 of 3")));
        d.screenshot(progress, QStringLiteral("progress"));
        // Escape and the close button do not put it away while the work runs.
        WindowDriver::press(progress, Qt::Key_Escape);
        QVERIFY(progress->isVisible());
        progress->close();
        QVERIFY(progress->isVisible());

        QTRY_VERIFY_WITH_TIMEOUT(!progress->isVisible(), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(d.window->core()->list()->count() >= 1, 20000);
        d.activate();
        d.clickRow(0);
        const QString chosen = d.selectedFile();
        // The sheet now stays up until every file is done, so the import may have finished already.
        QVERIFY(!finished.isEmpty() || finished.wait(20000));
        QCOMPARE(d.window->core()->list()->count(), 2);
        QCOMPARE(d.selectedFile(), chosen);
        QCOMPARE(d.table()->selectedItems().size(), 1);
        d.server->setDelay(QStringLiteral("search"), 0);
    }

    void listSortsFiltersAndShowsStates()
    {
        QVERIFY(d.importThree());
        QCOMPARE(d.selectedFile(), QStringLiteral("Inception.mp4")); // the first movie is selected when the import ends
        QCOMPARE(d.window->posterPanel()->caption(), QStringLiteral("Inception (2010)"));
        auto *model = d.table()->model();
        const int home = d.rowOf(QStringLiteral("Some.Home.Video.mkv"));
        QCOMPARE(model->index(home, MovieSortModel::StateColumn).data().toString(), QStringLiteral("Not identified"));
        QVERIFY(model->index(home, MovieSortModel::StateColumn).data(Qt::ToolTipRole).toString().contains(QStringLiteral("Find Movie")));
        QCOMPARE(model->index(0, MovieSortModel::StateColumn).data().toString(), QStringLiteral("Ready"));
        QCOMPARE(model->index(0, MovieListModel::DurationColumn).data().toString(), QStringLiteral("0:00:03"));
        QCOMPARE(model->headerData(MovieListModel::SubtitleColumn, Qt::Horizontal).toString(), QStringLiteral("Subtitle tracks"));
        QVERIFY(d.table()->verticalHeader()->defaultSectionSize() <= 32); // compact rows
        d.screenshot(d.window, QStringLiteral("main-window"));

        // A click on a header sorts by it; the core's list keeps its import order.
        QHeaderView *header = d.table()->horizontalHeader();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier,
                          QPoint(header->sectionViewportPosition(MovieListModel::TitleColumn) + 10, header->height() / 2));
        QCOMPARE(d.rowOf(QStringLiteral("Heat.1995.avi")), 0);
        QCOMPARE(d.rowOf(QStringLiteral("Some.Home.Video.mkv")), 2);
        QCOMPARE(d.window->core()->list()->itemAt(0).value(ItemKey::fileName).toString(), QStringLiteral("Inception.mp4"));

        // Ctrl+F goes to the filter; typing narrows the list.
        d.shortcut(QKeySequence::Find);
        auto *filter = d.find<QLineEdit>("filterTF");
        QVERIFY(filter->hasFocus());
        QTest::keyClicks(filter, QStringLiteral("heat"));
        QCOMPARE(model->rowCount(), 1);
        filter->clear();
        QCOMPARE(model->rowCount(), 3);

        // Actions follow the selection.
        d.clickRow(0);
        QVERIFY(d.action("editMetadataBTN")->isEnabled());
        d.clickRow(1, Qt::ShiftModifier);
        QVERIFY(!d.action("editMetadataBTN")->isEnabled());
        QVERIFY(d.action("batchEditBTN")->isEnabled());
        QCOMPARE(d.window->posterPanel()->caption(), QStringLiteral("2 movies selected"));
    }

    void serviceFailuresReachTheWindow()
    {
        d.server->setFailure(QStringLiteral("search"), StandinServer::Failure::Unauthorized);
        QSignalSpy finished(d.window->core(), &AppCore::importFinished);
        QVERIFY(d.drop({d.movie(QStringLiteral("Inception.mp4"))}));
        QVERIFY(finished.wait(30000));
        const QString messages = d.window->messageBar()->messages().join(QLatin1Char('\n'));
        QVERIFY2(messages.contains(QStringLiteral("TMDb refused the API key.")), qPrintable(messages));
        QTRY_VERIFY(d.window->messageBar()->isVisible());
        d.screenshot(d.window, QStringLiteral("message-bar"));

        // Help ▸ Show Log holds every diagnostic line of the session.
        QTest::mouseClick(d.find<QPushButton>("messageShowLogBTN"), Qt::LeftButton);
        LogWindow *log = d.window->logWindow();
        QTRY_VERIFY(log->isVisible());
        QVERIFY(log->lines().join(QLatin1Char('\n')).contains(QStringLiteral("Outer : Inception -> ")));
        d.screenshot(log, QStringLiteral("log"));
        log->close();

        // A search when TMDb can't be reached says so in the sheet too.
        d.server->setFailure(QStringLiteral("search"), StandinServer::Failure::CloseConnection);
        d.selectMovie(QStringLiteral("Inception.mp4"));
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+I")));
        QTRY_VERIFY_WITH_TIMEOUT(d.find<QLabel>("searchStatus")->text().startsWith(QStringLiteral("TMDb could not be asked")), 10000);
        QTRY_VERIFY(d.window->messageBar()->messages().join(QString()).contains(QStringLiteral("Can't reach 127.0.0.1")));
        WindowDriver::press(d.find<QLineEdit>("searchStringTF"), Qt::Key_Escape);

        // Without ffprobe nothing can be read, and the window says so.
        qputenv("KINOVELA_FFPROBE", "ffprobe-that-is-not-installed");
        QSignalSpy again(d.window->core(), &AppCore::importFinished);
        QVERIFY(d.drop({d.movie(QStringLiteral("Heat.1995.avi"), QStringLiteral("mpeg4-mp3.avi"))}));
        QVERIFY(again.wait(30000));
        qunsetenv("KINOVELA_FFPROBE");
        QVERIFY(d.window->messageBar()->messages().join(QString()).contains(QStringLiteral("ffprobe not found: install ffmpeg")));
    }

    void saveEndsWithAShortSummary()
    {
        QVERIFY(d.importThree());
        // One source disappears before the Save: it needs attention, the others are saved.
        QFile::remove(d.files.filePath(QStringLiteral("Some.Home.Video.mkv")));
        QSignalSpy finished(d.window, &AppDelegate::creationFinished);
        const QString destination = d.saveInto(QStringLiteral("Library"));
        QVERIFY(finished.wait(60000));
        auto *alert = d.find<SaveResultDialog>("creationAlert");
        QTRY_VERIFY(alert && alert->isVisible());
        QCOMPARE(alert->summary(), QStringLiteral("2 saved to %1, 1 needs attention").arg(destination));
        QVERIFY(alert->details().contains(QStringLiteral("the source file is missing")));
        QVERIFY(alert->details().contains(QStringLiteral("the source was moved to the Trash")));
        // Each saved movie carries what the check of the written file found.
        QVERIFY(alert->details().contains(QStringLiteral("; plays on Apple TV")));
        QVERIFY(d.find<QPushButton>("showInFolderBTN"));
        QVERIFY(alert->height() <= d.window->screen()->availableGeometry().height());
        d.screenshot(alert, QStringLiteral("save-alert"));
        QVERIFY(QFile::exists(destination + QStringLiteral("/Heat.mp4")));
        QVERIFY(QFile::exists(destination + QStringLiteral("/Inception.mp4")));
        const int home = d.rowOf(QStringLiteral("Some.Home.Video.mkv"));
        QCOMPARE(d.table()->model()->index(home, MovieSortModel::StateColumn).data().toString(), QStringLiteral("Not saved"));
        WindowDriver::press(alert, Qt::Key_Return);
        QTRY_VERIFY(!d.window->findChild<SaveResultDialog *>(QStringLiteral("creationAlert")));

        // The summary of many results stays short; its details scroll.
        QList<CreationResult> many;
        for (int i = 0; i < 100; ++i)
            many.append(CreationResult{QStringLiteral("/m/%1.mkv").arg(i), QStringLiteral("convert"), QString(), QString(),
                                       i < 6 ? Status() : Status(failure(ErrorKind::Failed, QStringLiteral("converter failed"))),
                                       QString(), QString(), QStringList()});
        SaveResultDialog big(many, QStringLiteral("/dest"), d.window);
        big.show();
        QCOMPARE(big.summary(), QStringLiteral("6 saved to /dest, 94 need attention"));
        QVERIFY(big.height() < 600);
        QCOMPARE(SaveResultDialog::summaryOf({}, QStringLiteral("/dest")), QStringLiteral("Nothing was saved: the list is empty."));
    }

    void takenNamesAreAskedAboutBeforeAnythingIsWritten()
    {
        QVERIFY(d.importThree());
        const QString destination = QDir::home().filePath(QStringLiteral("Taken"));
        QDir(destination).removeRecursively();
        QVERIFY(QDir().mkpath(destination));
        QFile mine(destination + QStringLiteral("/Heat.mp4"));
        QVERIFY(mine.open(QIODevice::WriteOnly) && mine.write("mine") == 4);
        mine.close();
        QSignalSpy finished(d.window, &AppDelegate::creationFinished);
        d.shortcut(QKeySequence::Save);
        QFileDialog *panel = d.chooser("savePanel");
        QVERIFY(panel);
        WindowDriver::typeIntoChooser(panel, QStringLiteral("Taken"));
        QMessageBox *question = nullptr;
        QTRY_VERIFY((question = d.window->findChild<QMessageBox *>(QStringLiteral("clashQuestion"))) && question->isVisible());
        QVERIFY(finished.isEmpty());
        QVERIFY(question->detailedText().contains(QStringLiteral("Heat.mp4")));
        d.screenshot(question, QStringLiteral("clash-question"));
        // The default keeps the person's file and saves the movie beside it.
        WindowDriver::press(question, Qt::Key_Return);
        SaveReviewSheet *review = d.reviewSheet();
        QVERIFY(review);
        QVERIFY2(review->summary().contains(QStringLiteral("3 movies")), qPrintable(review->summary()));
        QVERIFY(d.confirmSave());
        QVERIFY(finished.wait(60000));
        QVERIFY(mine.open(QIODevice::ReadOnly));
        QCOMPARE(mine.readAll(), QByteArray("mine"));
        QVERIFY(QFile::exists(destination + QStringLiteral("/Heat (2).mp4")));
        QVERIFY(QFile::exists(destination + QStringLiteral("/Inception.mp4")));
    }

    void cancelIsNotAFailure()
    {
        QVERIFY(d.importThree());
        qputenv("KINOVELA_FFMPEG", QFile::encodeName(slowConverter()));
        QSignalSpy finished(d.window, &AppDelegate::creationFinished);
        d.window->core()->setConversionOption(Preset::Convert);
        const QString destination = d.saveInto(QStringLiteral("Cancelled"));
        auto *progress = d.find<ProgressSheet>("progressWindow");
        QTRY_VERIFY(progress->isVisible());
        QTRY_VERIFY(d.find<QLabel>("progressCount")->text().startsWith(QStringLiteral("1 of 3")));
        QTest::mouseClick(d.find<QPushButton>("progressCancelBTN"), Qt::LeftButton);
        QVERIFY(finished.wait(30000));
        auto *alert = d.find<SaveResultDialog>("creationAlert");
        QTRY_VERIFY(alert && alert->isVisible());
        QCOMPARE(alert->windowTitle(), QStringLiteral("Save Cancelled"));
        QCOMPARE(alert->summary(), QStringLiteral("Nothing was saved, 3 not done (cancelled)"));
        QVERIFY(!alert->summary().contains(QStringLiteral("attention")));
        QCOMPARE(filesIn(destination), QStringList());
        d.screenshot(alert, QStringLiteral("save-cancelled"));
    }

    void quittingDuringASaveAsksAndCancelsCleanly()
    {
        QVERIFY(d.importThree());
        qputenv("KINOVELA_FFMPEG", QFile::encodeName(slowConverter()));
        const QString source = d.files.filePath(QStringLiteral("Heat.1995.avi"));
        const qint64 sourceSize = QFileInfo(source).size();
        d.window->core()->setConversionOption(Preset::Convert);
        const QString destination = d.saveInto(QStringLiteral("Quit"));
        auto *progress = d.find<ProgressSheet>("progressWindow");
        QTRY_VERIFY(progress->isVisible());
        QTRY_VERIFY(!filesIn(destination).isEmpty()); // the converter has begun writing

        // Quit asks; Escape keeps saving.
        WindowDriver::activate(progress);
        WindowDriver::press(progress, Qt::Key_Q, Qt::ControlModifier);
        QMessageBox *question = nullptr;
        QTRY_VERIFY((question = d.window->findChild<QMessageBox *>(QStringLiteral("quitQuestion"))) && question->isVisible());
        d.screenshot(question, QStringLiteral("quit-question"));
        WindowDriver::press(question, Qt::Key_Escape);
        QTRY_VERIFY(!d.window->findChild<QMessageBox *>(QStringLiteral("quitQuestion")));
        QVERIFY(d.window->core()->isSaving());
        QVERIFY(d.window->isVisible());

        // Asked again, Stop and Quit: the unfinished movie is removed, the originals stay, the window closes.
        WindowDriver::activate(progress);
        WindowDriver::press(progress, Qt::Key_Q, Qt::ControlModifier);
        QTRY_VERIFY((question = d.window->findChild<QMessageBox *>(QStringLiteral("quitQuestion"))) && question->isVisible());
        QTest::mouseClick(question->findChild<QPushButton *>(QStringLiteral("stopAndQuitBTN")), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!d.window->isVisible(), 20000);
        QVERIFY(!d.window->core()->isSaving());
        QCOMPARE(filesIn(destination), QStringList());
        QCOMPARE(QFileInfo(source).size(), sourceSize);
        QVERIFY(!d.window->findChild<SaveResultDialog *>(QStringLiteral("creationAlert")));
    }

    void geometryIsRemembered()
    {
        d.window->setGeometry(QRect(40, 50, 900, 560));
        const QSize size = d.window->size();
        d.shortcut(d.action("quitMI")->shortcut());
        QTRY_VERIFY(!d.window->isVisible());
        delete d.window;
        d.window = new AppDelegate;
        d.window->show();
        QVERIFY(QTest::qWaitForWindowExposed(d.window));
        QCOMPARE(d.window->size(), size);
    }

    void pureTexts()
    {
        QCOMPARE(MovieSortModel::durationText(8883.4), QStringLiteral("2:28:03"));
        QCOMPARE(MovieSortModel::durationText(0), QStringLiteral("\u2013"));
        QCOMPARE(ProgressSheet::timeLeftText(0.5, 60000), QStringLiteral("about a minute left"));
        QCOMPARE(ProgressSheet::timeLeftText(0.1, 60000), QStringLiteral("about 9 minutes left"));
        QCOMPARE(ProgressSheet::timeLeftText(0.5, 1000), QString()); // too early to say
        const QString tmdb = QStringLiteral("https://api.themoviedb.org");
        QCOMPARE(ServiceProblems::describe(QStringLiteral("TMDb"), tmdb, failure(ErrorKind::Network, QStringLiteral("Host not found"))),
                 QStringLiteral("Can't reach api.themoviedb.org (Host not found). Check the internet connection."));
        QCOMPARE(ServiceProblems::describe(QStringLiteral("TMDb"), tmdb,
                                           failure(ErrorKind::Refused, QStringLiteral("Response status code was unacceptable: 503."))),
                 QStringLiteral("TMDb has a problem of its own (status 503); try again later."));
        QCOMPARE(ServiceProblems::describe(QStringLiteral("TMDb"), tmdb, failure(ErrorKind::Missing, QStringLiteral("no such movie"))),
                 QString()); // not a problem of the service
    }
};

KINOVELA_TEST_MAIN_IMPL(TestWindow, QApplication)
#include "tst_window.moc"
