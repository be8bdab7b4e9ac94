#pragma once

#include <QKeySequence>
#include <QObject>

class QAction;
class QLineEdit;
class QMainWindow;
class QUndoStack;

/**
 * Every command of the main window as one QAction, shown in the menu bar
 * (File, Edit, Help) and, for the common ones, the toolbar: standard
 * shortcuts where the platform has one, the shortcut in each tooltip, and a
 * picture from the icon theme. The object names are the Parts' outlet names
 * ("openMoviesBTN", "findMovieBTN", ...).
 */
class WindowActions : public QObject
{
    Q_OBJECT
public:
    WindowActions(QMainWindow *window, QUndoStack *undoStack);

    QAction *open;
    QAction *save;
    QAction *settings;
    QAction *quit;
    QAction *undo;
    QAction *redo;
    QAction *undoSave;
    QAction *findMovie;
    QAction *subtitle;
    QAction *edit;
    QAction *batchEdit;
    QAction *remove;
    QAction *selectAll;
    QAction *filter;
    QAction *showLog;
    QAction *about;
    /** The list's filter field, in the toolbar ("filterTF"). */
    QLineEdit *filterField;

    /** Enables what can apply: nothing that changes the list while @p busy, one movie or several as each command needs. */
    void update(bool busy, int selected, int count);
    /** Undo Last Save applies to @p lastSave ("24/11/2026 10:31 into /dest, 3 movies"); empty: there is none. */
    void setLastSave(const QString &lastSave);
    /** "Find Movie" or, for an identified movie, "Wrong Movie". */
    void showMatchState(bool identified);

    /** "Open movie files (Ctrl+O)": the tooltip of an action with its shortcut. */
    static QString tooltipWithShortcut(const QString &tip, const QKeySequence &shortcut);

private:
    QString m_lastSave;
    bool m_busy = false;

    QAction *make(const char *objectName, const QString &text, const QString &icon, const QKeySequence &shortcut,
                  const QString &tip);
};
