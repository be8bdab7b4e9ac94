#pragma once

#include "creation/SavePlan.h"

#include "base/MovieItemKeys.h"
#include "creation/CreationBatch.h"

#include <QMainWindow>
#include <QUrl>

class AppCore;
class BatchEditSheet;
class LogWindow;
class MessageBar;
class MetadataEditor;
class MovieSearchSheet;
class MovieTable;
class PosterPanel;
class ProgressSheet;
class QUndoStack;
class SaveReviewSheet;
class SettingsSheet;
class SubtitleSheet;
class WindowActions;

/**
 * The main window's controller: the list with the selected movie's poster,
 * the menus and toolbar, drops, Open and Save, and the sheets (each its own
 * class) opened on the selected movies. Everything long runs in the core;
 * the window shows its progress, its failures (row states, the message bar,
 * the log) and its results.
 */
class AppDelegate : public QMainWindow
{
    Q_OBJECT
public:
    explicit AppDelegate(QWidget *parent = nullptr);
    ~AppDelegate() override;

    AppCore *core() const { return m_core; }
    MovieTable *table() const { return m_table; }
    QUndoStack *undoStack() const { return m_undo; }
    WindowActions *actions() const { return m_actions; }
    MessageBar *messageBar() const { return m_messageBar; }
    LogWindow *logWindow() const { return m_log; }
    PosterPanel *posterPanel() const { return m_poster; }

public Q_SLOTS:
    void applicationDidFinishLaunching();
    /** Imports files without the chooser (command line, drops); asks first when subtitle downloads would run out. */
    void openFiles(const QList<QUrl> &urls);
    void openMoviesBTN_clicked();
    void saveBTN_clicked();
    /**
     * Saves into the folder: plans the Save, asks when movies would take names
     * that are already taken, shows the plan for the person to confirm and
     * then carries out exactly that plan.
     */
    void creationTaskWithDestinationFolder(const QString &destinationFolder);

Q_SIGNALS:
    /** A sheet's work reached the list (for tests). */
    void sheetFinished(const QString &sheet);
    void creationFinished(const QList<CreationResult> &results);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void startImport(const QList<QUrl> &urls);
    void reviewSave(const SavePlan &plan);
    void startSave(const SavePlan &plan);
    void connectSheets();
    void selectionChanged();
    void updateActions();
    void replaceMovies(const QString &what, const QList<MovieItem> &before, const QList<MovieItem> &after);
    void importFinished(const QStringList &rejected);
    void saveFinished(const QList<CreationResult> &results);
    void restoreWindow();

    AppCore *m_core;
    QUndoStack *m_undo;
    LogWindow *m_log;
    MovieTable *m_table;
    MessageBar *m_messageBar;
    PosterPanel *m_poster;
    WindowActions *m_actions;
    ProgressSheet *m_progress;
    SettingsSheet *m_settings;
    MovieSearchSheet *m_movieSearch;
    SubtitleSheet *m_subtitles;
    MetadataEditor *m_editor;
    BatchEditSheet *m_batchEdit;
    SaveReviewSheet *m_review;
    QString m_saveDestination;
    int m_saveIndex = 0;
    bool m_importing = false;
    bool m_quitWhenSaveEnds = false;
};
