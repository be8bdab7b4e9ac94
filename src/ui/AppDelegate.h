#pragma once

#include "base/Candidates.h"
#include "base/MovieItemKeys.h"
#include "creation/CreationBatch.h"

#include <QMainWindow>
#include <QUrl>

class AppCore;
class DADImageView;
class QAction;
class QButtonGroup;
class QComboBox;
class QDateEdit;
class QDialog;
class QLabel;
class QLineEdit;
class QListWidget;
class QMessageBox;
class QProgressBar;
class QPushButton;
class QTableView;
class QTableWidget;
class QTextEdit;

/**
 * The main window and its controller: the movie list with the selected
 * movie's poster, the toolbar, and the sheets (progress, settings, movie
 * search, subtitle search, metadata editor, batch edit, poster search).
 * Every sheet is a window-modal dialog opened without blocking; every
 * lookup, download and conversion runs asynchronously in the core.
 */
class AppDelegate : public QMainWindow
{
    Q_OBJECT
public:
    explicit AppDelegate(QWidget *parent = nullptr);
    ~AppDelegate() override;

    AppCore *core() const { return m_core; }

public Q_SLOTS:
    void applicationDidFinishLaunching();
    /** Imports files without the chooser (command line, drops, tests). */
    void openFiles(const QList<QUrl> &urls);

    void openMoviesBTN_clicked();
    void presetsBTN_clicked();
    void okBTN_insideSettingsWindow();
    void removeBTN_clicked();

    void findMovieBTN_clicked();
    void searchBTN_InsideSearchWindow_clicked();
    void okBTN_InsideSearchWindow_clicked();
    void cancelBTN_InsideSearchWindow_clicked();

    void changeSubtitleBTN_clicked();
    void downloadBTN_Inside_SubtitleSearchWindow_clicked();
    void cancelBTN_Inside_SubtitleSearchWindow_Clicked();

    void editMetadataBTN_clicked();
    void closeBTN_insideEditMetadataWindow_clicked();
    void cancelBTN_insideEditMetadataWindow_clicked();
    void batchEditBTN_clicked();
    void okBTN_insideBatchEditWindow();
    void cancelBTN_insideBatchEditWindow_clicked();

    void changePosterBTN_insideMetadataWindow_clicked();
    void okBTN_insidePosterSearchWindow_clicked();
    void cancelBTN_insidePosterSearchWindow_clicked();

    void saveBTN_clicked();
    void creationTaskWithDestinationFolder(const QString &destinationFolder);
    void progressCancelBTN_clicked();

Q_SIGNALS:
    /** A sheet's work is done (the movie search applied, a subtitle downloaded, ...); for tests and scripting. */
    void sheetFinished(const QString &sheet);
    void creationFinished(const QList<CreationResult> &results);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void buildMainWindow();
    void buildProgressWindow();
    void buildSettingsWindow();
    void buildSearchWindow();
    void buildSubtitleWindow();
    void buildEditWindow();
    void buildBatchWindow();
    void buildPosterWindow();
    void selectionChanged();
    void showSelectedPoster();
    void fillSearchResults(const QList<MovieItem> &records);
    void showCreationAlert(const QList<CreationResult> &results);

    AppCore *m_core;

    QTableView *m_table = nullptr;
    QLabel *m_posterView = nullptr;
    QAction *m_findMovieBTN = nullptr;

    QDialog *m_progressWindow = nullptr;
    QLabel *m_progressTitle = nullptr;
    QProgressBar *m_progressBar = nullptr;
    QPushButton *m_progressCancelBTN = nullptr;

    QDialog *m_settingsWindow = nullptr;
    QComboBox *m_languageSettingsPUBTN = nullptr;
    QButtonGroup *m_radioBTNsGroup = nullptr;
    QLineEdit *m_openSubtitlesApiKeyTF = nullptr;
    QLineEdit *m_openSubtitlesUserTF = nullptr;
    QLineEdit *m_openSubtitlesPasswordTF = nullptr;

    QDialog *m_moiveSearchWindow = nullptr;
    QLineEdit *m_searchStringTF = nullptr;
    QTableWidget *m_searchResults = nullptr;
    QList<MovieItem> m_searchCandidates;
    quint64 m_searchGeneration = 0;

    QDialog *m_subtitleSearchWindow = nullptr;
    QTableWidget *m_subtitleResults = nullptr;
    QList<SubtitleCandidate> m_subtitleCandidates;

    QDialog *m_editMetadataWindow = nullptr;
    QLineEdit *m_editMovieTitleTF = nullptr;
    DADImageView *m_editMoviePosterIV = nullptr;
    QLineEdit *m_editMovieGenreTF = nullptr;
    QLineEdit *m_editMovieTaglineTF = nullptr;
    QTextEdit *m_editMovieOverviewTF = nullptr;
    QComboBox *m_editMovieRatingCBX = nullptr;
    QDateEdit *m_editMovieReleaseDateDP = nullptr;
    QLineEdit *m_editMovieCountryTF = nullptr;
    QLineEdit *m_editMovieLanguageTF = nullptr;
    QLineEdit *m_editMovieDirectorsTF = nullptr;
    QLineEdit *m_editMovieCastTF = nullptr;
    QLineEdit *m_editMovieProducersTF = nullptr;
    QLineEdit *m_editMovieStudiosTF = nullptr;
    QLineEdit *m_editMovieComposersTF = nullptr;
    QLineEdit *m_editMovieScreenwritersTF = nullptr;

    QDialog *m_batchEditWindow = nullptr;
    QLineEdit *m_batchMovieGenreTF = nullptr;
    QLineEdit *m_batchMovieLanguageTF = nullptr;

    QDialog *m_posterSearchWindow = nullptr;
    QListWidget *m_postersList = nullptr;
    QList<PosterChoice> m_posterCandidates;

    QMessageBox *m_alert = nullptr;
};
