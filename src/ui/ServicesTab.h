#pragma once

#include <QWidget>

#include <functional>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
struct CheckResult;

/**
 * The settings sheet's "Services" tab: the TMDb key (a v3 API key or a v4
 * read access token), a Test button per web service that says in words
 * what happened, and the lookup cache (lifetime, ignore, empty). The key and
 * the cache settings are stored by store() (the sheet's OK), never by
 * typing alone.
 */
class ServicesTab : public QWidget
{
    Q_OBJECT
public:
    explicit ServicesTab(QWidget *parent = nullptr);

    /** Shows the stored values and clears earlier test results. */
    void load();
    /** Stores the key and the cache settings. */
    void store();

private:
    QPushButton *testButton(const QString &objectName, QLabel *result, std::function<void()> test);
    void show(QLabel *label, const CheckResult &result);
    /** A result label, for a button's row. */
    QLabel *resultLabel(const QString &objectName);

    QLineEdit *m_tmdbKey;
    QLabel *m_environmentNote;
    QLabel *m_tmdbResult;
    QLabel *m_storeResult;
    QLabel *m_openSubtitlesResult;
    QSpinBox *m_cacheDays;
    QCheckBox *m_ignoreCache;
};
