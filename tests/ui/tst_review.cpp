#include "WindowDriver.h"

#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QTableWidget>

// Matches that need a look, shown and filtered in the list, and a corrected match remembered by the next window.
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
