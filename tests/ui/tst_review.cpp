#include "WindowDriver.h"

#include <QDoubleSpinBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QLineEdit>
#include <QTableWidget>

// Matches that need a look, shown and filtered in the list, a corrected match remembered by the next window, and the
// Save shown as a plan before anything is written, then undone.
class TestReview : public QObject
{
    Q_OBJECT

private:
    WindowDriver d;

    bool importFiles(const QStringList &paths)
    {
        QSignalSpy finished(d.window->core(), &AppCore::importFinished);
        return d.drop(paths) && finished.wait(30000);
    }

    QString stateOf(const QString &fileName) const
    {
        return d.table()->model()->index(d.rowOf(fileName), MovieSortModel::StateColumn).data().toString();
    }

    QStringList shownFiles() const
    {
        QStringList names;
        for (int row = 0; row < d.table()->model()->rowCount(); ++row)
            names.append(d.table()->itemShownAt(row).value(ItemKey::fileName).toString());
        return names;
    }

    /** Find Movie (Wrong Movie) for the file: searches @p text and chooses the only result by keyboard. */
    void chooseMovie(const QString &fileName, const QString &text)
    {
        d.selectMovie(fileName);
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+I")));
        auto *field = d.find<QLineEdit>("searchStringTF");
        QTRY_VERIFY(d.find<QDialog>("moiveSearchWindow")->isVisible());
        field->selectAll();
        QTest::keyClicks(field, text);
        WindowDriver::press(field, Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(d.find<QTableWidget>("searchArrayController")->rowCount(), 1, 10000);
        QSignalSpy applied(d.window, &AppDelegate::sheetFinished);
        WindowDriver::press(field, Qt::Key_Return);
        QVERIFY(applied.wait(10000));
    }

private Q_SLOTS:
    void initTestCase() { d.startServices(this); }
    void init() { d.openWindow(); }
    void cleanup() { d.closeWindow(); }

    void theListShowsAndFiltersTheMatchesToReview()
    {
        QVERIFY(importFiles({d.movie(QStringLiteral("Heat.2003.mp4")), d.movie(QStringLiteral("Alien.1990.avi"), QStringLiteral("mpeg4-mp3.avi")),
                             d.movie(QStringLiteral("Inception.mkv"), QStringLiteral("h264-ac3-srt.mkv"))}));
        QCOMPARE(stateOf(QStringLiteral("Heat.2003.mp4")), QStringLiteral("Needs review"));
        QCOMPARE(stateOf(QStringLiteral("Alien.1990.avi")), QStringLiteral("Needs review"));
        QCOMPARE(stateOf(QStringLiteral("Inception.mkv")), QStringLiteral("Ready"));
        const QString why = d.table()->model()->index(d.rowOf(QStringLiteral("Heat.2003.mp4")), MovieSortModel::StateColumn)
                                .data(Qt::ToolTipRole)
                                .toString();
        QVERIFY2(why.contains(QStringLiteral("year 2003 in the name differs from the release year 1995")), qPrintable(why));
        d.screenshot(d.window, QStringLiteral("needs-review"));

        // The filter narrows the list to them.
        d.shortcut(QKeySequence::Find);
        auto *filter = d.find<QLineEdit>("filterTF");
        QTest::keyClicks(filter, QStringLiteral("needs review"));
        QCOMPARE(shownFiles().size(), 2);
        QVERIFY(!shownFiles().contains(QStringLiteral("Inception.mkv")));

        // Choosing the movie settles it: the row leaves the filtered list.
        chooseMovie(QStringLiteral("Heat.2003.mp4"), QStringLiteral("Inception"));
        QCOMPARE(d.itemNamed(QStringLiteral("Heat.2003.mp4")).value(ItemKey::movieTitle).toString(), QStringLiteral("Inception"));
        QCOMPARE(d.itemNamed(QStringLiteral("Heat.2003.mp4")).value(ItemKey::needsReview).toBool(), false);
        QCOMPARE(shownFiles(), QStringList{QStringLiteral("Alien.1990.avi")});

        // A lower threshold in the settings lets the other one pass.
        d.shortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        auto *threshold = d.find<QDoubleSpinBox>("reviewThresholdSB");
        QTRY_VERIFY(threshold->isVisible());
        QCOMPARE(threshold->value(), 0.6);
        threshold->setFocus();
        threshold->selectAll();
        QTest::keyClicks(threshold, QStringLiteral("0.3"));
        WindowDriver::press(threshold, Qt::Key_Return);
        QTRY_VERIFY(!d.find<QDialog>("settingsWindow")->isVisible());
        QCOMPARE(shownFiles(), QStringList());
        filter->clear();
        QCOMPARE(stateOf(QStringLiteral("Alien.1990.avi")), QStringLiteral("Ready"));
    }

    void saveShowsThePlanFirstAndCanBeUndone()
    {
        const QString heat = d.movie(QStringLiteral("Heat.2003.mp4"));
        const QString alien = d.movie(QStringLiteral("Alien.1979.avi"), QStringLiteral("mpeg4-mp3.avi"));
        const QString inception = d.movie(QStringLiteral("Inception.mkv"), QStringLiteral("h264-ac3-srt.mkv"));
        QList<QByteArray> originals;
        for (const QString &path : {heat, alien, inception})
            originals.append(TestEnvironment::contents(path));
        QVERIFY(importFiles({heat, alien, inception}));

        // The plan comes before anything is written; Escape goes back and writes nothing.
        const QString destination = d.saveInto(QStringLiteral("Reviewed"), false);
        SaveReviewSheet *review = d.reviewSheet();
        QVERIFY(review);
        QCOMPARE(review->summary(), QStringLiteral("3 movies \u2192 %1 \u00b7 3 converted \u00b7 originals to the Trash \u00b7 1 needs "
                                                   "review").arg(destination));
        QVERIFY(d.find<QLabel>("saveReviewWarning")->isVisible());
        auto *planList = d.find<QTreeWidget>("savePlanList");
        QCOMPARE(planList->topLevelItemCount(), 3);
        // A row opens to what becomes of the movie: where it comes from, its streams, its tags.
        d.doubleClickRow(planList, 2, 0);
        QTRY_VERIFY(planList->topLevelItem(2)->isExpanded());
        QVERIFY(planList->topLevelItem(2)->child(0)->text(0).startsWith(QStringLiteral("from: ")));
        d.screenshot(review, QStringLiteral("save-review"));
        WindowDriver::press(review, Qt::Key_Escape);
        QTRY_VERIFY(!review->isVisible());
        QVERIFY(QDir(destination).isEmpty());

        // The match to review can be left out; the plan shown is what is done.
        QSignalSpy finished(d.window, &AppDelegate::creationFinished);
        d.saveInto(QStringLiteral("Reviewed"), false);
        QVERIFY(d.reviewSheet());
        QTest::mouseClick(d.find<QPushButton>("leaveOutReviewBTN"), Qt::LeftButton);
        QCOMPARE(review->summary(), QStringLiteral("3 movies \u2192 %1 \u00b7 2 converted, 1 skipped \u00b7 originals to the "
                                                   "Trash").arg(destination));
        QCOMPARE(d.find<QPushButton>("confirmSaveBTN")->text(), QStringLiteral("Save 2 Movies"));
        QVERIFY(d.confirmSave());
        QVERIFY(finished.wait(60000));
        QCOMPARE(QDir(destination).entryList(QDir::Files), (QStringList{QStringLiteral("Alien.mp4"), QStringLiteral("Inception.mp4")}));
        QCOMPARE(TestEnvironment::contents(heat), originals.at(0));
        auto *alert = d.find<QDialog>("creationAlert");
        QTRY_VERIFY(alert && alert->isVisible());
        WindowDriver::press(alert, Qt::Key_Return);

        // Edit ▸ Undo Last Save asks, then brings the sources back and removes what the Save made.
        QSignalSpy undone(d.window->core(), &AppCore::undoFinished);
        QVERIFY(d.clickMenuItem("editMenu", "undoSaveMI"));
        QMessageBox *question = nullptr;
        QTRY_VERIFY((question = d.window->findChild<QMessageBox *>(QStringLiteral("undoSaveQuestion"))) && question->isVisible());
        QVERIFY(question->text().contains(destination + QStringLiteral(", 2 movies")));
        d.screenshot(question, QStringLiteral("undo-question"));
        WindowDriver::press(question, Qt::Key_Return);
        QVERIFY(undone.wait(30000));
        QMessageBox *report = nullptr;
        QTRY_VERIFY((report = d.window->findChild<QMessageBox *>(QStringLiteral("undoSaveAlert"))) && report->isVisible());
        QCOMPARE(report->windowTitle(), QStringLiteral("Save Undone"));
        d.screenshot(report, QStringLiteral("undo-report"));
        QCOMPARE(TestEnvironment::contents(alien), originals.at(1));
        QCOMPARE(TestEnvironment::contents(inception), originals.at(2));
        QVERIFY(QDir(destination).isEmpty());
        WindowDriver::press(report, Qt::Key_Return);
        QTRY_VERIFY(!d.action("undoSaveMI")->isEnabled());
    }

    void aCorrectedMatchIsRememberedByTheNextWindow()
    {
        const QString heat = d.movie(QStringLiteral("Heat.2003.mp4"));
        QVERIFY(importFiles({heat}));
        chooseMovie(QStringLiteral("Heat.2003.mp4"), QStringLiteral("Alien"));

        d.reopenWindow();
        QVERIFY(importFiles({heat}));
        const MovieItem item = d.itemNamed(QStringLiteral("Heat.2003.mp4"));
        QCOMPARE(item.value(ItemKey::movieTitle).toString(), QStringLiteral("Alien"));
        QCOMPARE(item.value(ItemKey::matchReasons).toStringList().value(0), QStringLiteral("your earlier choice for this file"));
        QCOMPARE(stateOf(QStringLiteral("Heat.2003.mp4")), QStringLiteral("Ready"));
    }
};

KINOVELA_TEST_MAIN_IMPL(TestReview, QApplication)
#include "tst_review.moc"
