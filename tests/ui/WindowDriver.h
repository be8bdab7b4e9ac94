#pragma once

#include "app/AppCore.h"
#include "app/Corrections.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "standin/StandinServer.h"
#include "standin/StandinServices.h"
#include "support/TestEnvironment.h"
#include "ui/AppDelegate.h"
#include "ui/MovieTable.h"
#include "ui/SaveReviewSheet.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QCompleter>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QSettings>
#include <QSignalSpy>
#include <QtTest/QtTest>

/**
 * Drives the window the way a person does: keystrokes and clicks on the
 * real widgets, files dropped on the list, and screenshots of what was
 * shown into the build folder ("screenshots/").
 */
class WindowDriver
{
public:
    StandinServer *server = nullptr;
    QTemporaryDir files;
    AppDelegate *window = nullptr;

    void startServices(QObject *parent)
    {
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        QApplication::setQuitOnLastWindowClosed(false);
        server = new StandinServer(parent);
        QVERIFY(server->start());
        StandinServices::installAll(*server);
        StandinServices::exportEnvironment(*server);
    }

    /** A fresh window on fresh settings and an empty lookup cache, shown and active. */
    void openWindow()
    {
        QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).clear();
        TestEnvironment::forgetLookups();
        server->clearFailures();
        forgetCorrections();
        showNewWindow();
    }
    /** No movie or subtitle a person chose in an earlier test is remembered. */
    static void forgetCorrections() { QFile::remove(Corrections::storePath()); }
    /** Another window on the same settings and memories, as when Kinovela is started again. */
    void reopenWindow()
    {
        closeWindow();
        showNewWindow();
    }
    void showNewWindow()
    {
        window = new AppDelegate;
        window->applicationDidFinishLaunching();
        window->core()->importer()->setStagger(0);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        activate();
    }
    void closeWindow()
    {
        delete window;
        window = nullptr;
    }

    void activate() { activate(window); }

    /** Makes @p widget's window the active one, as the window manager does with a window that opens or is clicked. */
    static void activate(QWidget *widget)
    {
        widget->activateWindow();
        QTRY_COMPARE(QApplication::activeWindow(), widget->window());
    }

    template<typename T>
    T *find(const char *name) const
    {
        T *widget = window->findChild<T *>(QString::fromLatin1(name));
        if (!widget)
            qWarning("nothing named %s", name);
        return widget;
    }
    QAction *action(const char *name) const { return find<QAction>(name); }
    MovieTable *table() const { return window->table(); }

    /** A shortcut pressed in the main window (its list has the focus). */
    void shortcut(const QKeySequence &keys)
    {
        activate();
        table()->setFocus();
        QTest::keySequence(table(), keys);
    }
    /** Opens a menu of the menu bar with a click and clicks one of its items. */
    bool clickMenuItem(const char *menuName, const char *actionName)
    {
        activate();
        auto *menu = find<QMenu>(menuName);
        QAction *item = action(actionName);
        if (!menu || !item)
            return false;
        QMenuBar *bar = window->menuBar();
        QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, bar->actionGeometry(menu->menuAction()).center());
        if (!QTest::qWaitFor([menu] { return menu->isVisible(); }))
            return false;
        QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier, menu->actionGeometry(item).center());
        return true;
    }
    static void press(QWidget *widget, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(widget, Qt::Key(key), modifiers);
    }

    void screenshot(QWidget *widget, const QString &name) const
    {
        const QString folder = qEnvironmentVariable("KINOVELA_BUILD_DIR") + QStringLiteral("/screenshots");
        QDir().mkpath(folder);
        widget->grab().save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
    }

    /** Types into the file chooser's name field and presses Return, as a person does. */
    static void typeIntoChooser(QFileDialog *chooser, const QString &text)
    {
        auto *name = chooser->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
        QVERIFY(name);
        WindowDriver::activate(chooser);
        name->setFocus();
        name->selectAll();
        QTest::keyClicks(name, text);
        if (name->completer() && name->completer()->popup()->isVisible())
            name->completer()->popup()->hide();
        QTest::keyClick(name, Qt::Key_Return);
    }

    /** The file chooser of that name once it is shown; nullptr when it does not come. */
    QFileDialog *chooser(const char *name)
    {
        QFileDialog *dialog = nullptr;
        const bool shown = QTest::qWaitFor([&] {
            dialog = window->findChild<QFileDialog *>(QString::fromLatin1(name));
            return dialog && dialog->isVisible();
        });
        return shown ? dialog : nullptr;
    }

    /** The Save's review sheet once it is shown; nullptr when it does not come. */
    SaveReviewSheet *reviewSheet(int timeout = 60000)
    {
        SaveReviewSheet *sheet = nullptr;
        const bool shown = QTest::qWaitFor([&] {
            sheet = window->findChild<SaveReviewSheet *>(QStringLiteral("saveReviewWindow"));
            return sheet && sheet->isVisible();
        }, timeout);
        return shown ? sheet : nullptr;
    }

    /** Confirms the plan the review sheet shows, with Return (its default button is Save). */
    bool confirmSave()
    {
        SaveReviewSheet *sheet = reviewSheet();
        if (!sheet)
            return false;
        press(sheet, Qt::Key_Return);
        return QTest::qWaitFor([sheet] { return !sheet->isVisible(); });
    }

    /**
     * Save: Ctrl+S, then the destination's path (a folder @p name in the home
     * folder) in the chooser and Return, then Return again on the plan it shows.
     */
    QString saveInto(const QString &name, bool confirm = true)
    {
        const QString destination = QDir::home().filePath(name);
        QDir(destination).removeRecursively();
        if (!QDir().mkpath(destination))
            return {};
        shortcut(QKeySequence::Save);
        QFileDialog *panel = chooser("savePanel");
        if (!panel)
            return {};
        typeIntoChooser(panel, destination);
        if (confirm && !confirmSave())
            return {};
        return destination;
    }

    /** A copy of a generated medium under a movie's name. */
    QString movie(const QString &name, const QString &source = QStringLiteral("h264-aac.mp4"))
    {
        const QString path = files.filePath(name);
        QFile::remove(path);
        if (!QFile::copy(TestEnvironment::media(source), path))
            qWarning("could not copy %s", qPrintable(source));
        return path;
    }

    /** Drops the files on the list, as from a file manager. */
    bool drop(const QStringList &paths)
    {
        QMimeData data;
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls.append(QUrl::fromLocalFile(path));
        data.setUrls(urls);
        QWidget *target = table()->viewport();
        QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &enter);
        if (!enter.isAccepted())
            return false;
        QDropEvent dropped(QPointF(20, 20), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &dropped);
        return dropped.isAccepted();
    }

    /** Inception (identified MP4), Heat (identified AVI) and a home video nobody knows. */
    bool importThree()
    {
        QSignalSpy finished(window->core(), &AppCore::importFinished);
        if (!drop({movie(QStringLiteral("Inception.mp4")), movie(QStringLiteral("Heat.1995.avi"), QStringLiteral("mpeg4-mp3.avi")),
                   movie(QStringLiteral("Some.Home.Video.mkv"), QStringLiteral("h264-ac3-srt.mkv"))}))
            return false;
        return finished.wait(30000) && !find<QDialog>("progressWindow")->isVisible();
    }

    int rowOf(const QString &fileName) const
    {
        for (int row = 0; row < table()->model()->rowCount(); ++row) {
            if (table()->itemShownAt(row).value(ItemKey::fileName).toString() == fileName)
                return row;
        }
        return -1;
    }
    MovieItem itemNamed(const QString &fileName) const
    {
        const MovieListModel *list = window->core()->list();
        for (const MovieItem &item : list->items()) {
            if (item.value(ItemKey::fileName).toString() == fileName)
                return item;
        }
        return {};
    }

    void clickRow(int row, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const QRect cell = table()->visualRect(table()->model()->index(row, MovieListModel::TitleColumn));
        QTest::mouseClick(table()->viewport(), Qt::LeftButton, modifiers, cell.center());
    }
    void doubleClickRow(QAbstractItemView *view, int row, int column = 1)
    {
        const QRect cell = view->visualRect(view->model()->index(row, column));
        QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
        QTest::mouseDClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
    }
    void selectMovie(const QString &fileName)
    {
        activate();
        clickRow(rowOf(fileName));
    }
    QString selectedFile() const
    {
        const auto item = table()->singleSelectedItem();
        return item ? item->value(ItemKey::fileName).toString() : QString();
    }
};
