#include "ui/WindowActions.h"

#include "ui/Icons.h"

#include <QAction>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QToolBar>
#include <QUndoStack>
#include <QWidget>

QString WindowActions::tooltipWithShortcut(const QString &tip, const QKeySequence &shortcut)
{
    if (shortcut.isEmpty())
        return tip;
    return QStringLiteral("%1 (%2)").arg(tip, shortcut.toString(QKeySequence::NativeText));
}

QAction *WindowActions::make(const char *objectName, const QString &text, const QString &icon,
                             const QKeySequence &shortcut, const QString &tip)
{
    auto *action = new QAction(Icons::named(icon), text, parent());
    action->setObjectName(QString::fromLatin1(objectName));
    action->setShortcut(shortcut);
    action->setToolTip(tooltipWithShortcut(tip, shortcut));
    action->setStatusTip(tip);
    return action;
}

static QKeySequence standardOr(QKeySequence::StandardKey key, const QString &fallback)
{
    const QKeySequence standard(key);
    return standard.isEmpty() ? QKeySequence(fallback) : standard;
}

WindowActions::WindowActions(QMainWindow *window, QUndoStack *undoStack)
    : QObject(window)
{
    open = make("openMoviesBTN", tr("&Open\u2026"), QStringLiteral("document-open"), QKeySequence::Open,
                tr("Open movie files to identify and tag"));
    open->setIconText(tr("Open"));
    save = make("saveBTN", tr("&Save\u2026"), QStringLiteral("document-save"), QKeySequence::Save,
                tr("Write the tagged MP4 files into a folder you choose"));
    save->setIconText(tr("Save"));
    settings = make("presetsBTN", tr("Se&ttings\u2026"), QStringLiteral("preferences-system"),
                    standardOr(QKeySequence::Preferences, QStringLiteral("Ctrl+,")),
                    tr("Search language, what Save does with the files, the OpenSubtitles account"));
    settings->setIconText(tr("Settings"));
    settings->setMenuRole(QAction::PreferencesRole);
    quit = make("quitMI", tr("&Quit"), QStringLiteral("application-exit"), standardOr(QKeySequence::Quit, QStringLiteral("Ctrl+Q")),
                tr("Quit Kinovela"));
    quit->setMenuRole(QAction::QuitRole);

    undo = undoStack->createUndoAction(this, tr("&Undo"));
    undo->setObjectName(QStringLiteral("undoMI"));
    undo->setIcon(Icons::named(QStringLiteral("edit-undo")));
    undo->setShortcut(QKeySequence::Undo);
    redo = undoStack->createRedoAction(this, tr("&Redo"));
    redo->setObjectName(QStringLiteral("redoMI"));
    redo->setIcon(Icons::named(QStringLiteral("edit-redo")));
    redo->setShortcut(QKeySequence::Redo);
    undoSave = make("undoSaveMI", tr("Undo &Last Save…"), QStringLiteral("document-revert"), QKeySequence(),
                    tr("Take the last Save back: its sources come back from the Trash, tags written in place are put "
                       "back, the files it made are removed"));

    findMovie = make("findMovieBTN", tr("Find Movie"), QStringLiteral("edit-find"), QKeySequence(QStringLiteral("Ctrl+I")),
                     tr("Search TMDb for the selected movie and choose the right one"));
    subtitle = make("changeSubtitleBTN", tr("Subtitle"), QStringLiteral("format-justify-fill"),
                    QKeySequence(QStringLiteral("Ctrl+T")), tr("Choose the subtitle to add to the selected movie"));
    subtitle->setText(tr("Choose S&ubtitle\u2026"));
    subtitle->setIconText(tr("Subtitle"));
    edit = make("editMetadataBTN", tr("&Edit Metadata\u2026"), QStringLiteral("document-properties"),
                QKeySequence(QStringLiteral("Ctrl+E")), tr("Edit the title, plot, cast, poster... of the selected movie"));
    edit->setIconText(tr("Edit"));
    batchEdit = make("batchEditBTN", tr("&Batch Edit\u2026"), QStringLiteral("emblem-documents"),
                     QKeySequence(QStringLiteral("Ctrl+Shift+E")), tr("Set the genre and language of the selected movies"));
    batchEdit->setIconText(tr("Batch Edit"));
    remove = make("removeBTN", tr("&Remove"), QStringLiteral("list-remove"), QKeySequence::Delete,
                  tr("Take the selected movies off the list (the files stay as they are)"));
    selectAll = make("selectAllMI", tr("Select &All"), QStringLiteral("edit-select-all"), QKeySequence::SelectAll,
                     tr("Select every movie shown"));
    filter = make("filterMI", tr("&Filter\u2026"), QStringLiteral("edit-find"), QKeySequence::Find,
                  tr("Show only the movies whose title, file, genre or year contain a text"));
    showLog = make("showLogMI", tr("Show &Log"), QStringLiteral("utilities-terminal"), QKeySequence(QStringLiteral("Ctrl+L")),
                   tr("Every message of this session: what failed and why"));
    about = make("aboutMI", tr("&About Kinovela"), QStringLiteral("help-about"), QKeySequence(), tr("About Kinovela"));
    about->setMenuRole(QAction::AboutRole);
    showMatchState(false);

    QMenuBar *bar = window->menuBar();
    QMenu *file = bar->addMenu(tr("&File"));
    file->setObjectName(QStringLiteral("fileMenu"));
    file->addActions({open, save});
    file->addSeparator();
    file->addAction(settings);
    file->addSeparator();
    file->addAction(quit);
    QMenu *editMenu = bar->addMenu(tr("&Edit"));
    editMenu->setObjectName(QStringLiteral("editMenu"));
    editMenu->addActions({undo, redo, undoSave});
    editMenu->addSeparator();
    editMenu->addActions({findMovie, subtitle, edit, batchEdit, remove});
    editMenu->addSeparator();
    editMenu->addActions({selectAll, filter});
    QMenu *help = bar->addMenu(tr("&Help"));
    help->setObjectName(QStringLiteral("helpMenu"));
    help->addActions({showLog, about});

    // Open and Save first, so a narrow window never hides Save in the overflow.
    auto *toolbar = window->addToolBar(tr("Main"));
    toolbar->setObjectName(QStringLiteral("toolbar"));
    toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolbar->setMovable(false);
    toolbar->setIconSize(QSize(24, 24));
    toolbar->addActions({open, save});
    toolbar->addSeparator();
    toolbar->addActions({findMovie, subtitle, edit, batchEdit, remove});
    toolbar->addSeparator();
    toolbar->addAction(settings);
    auto *spacer = new QWidget(toolbar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    filterField = new QLineEdit(toolbar);
    filterField->setObjectName(QStringLiteral("filterTF"));
    filterField->setPlaceholderText(tr("Filter"));
    filterField->setToolTip(filter->toolTip());
    filterField->setClearButtonEnabled(true);
    filterField->addAction(Icons::named(QStringLiteral("edit-find")), QLineEdit::LeadingPosition);
    filterField->setMaximumWidth(240);
    filterField->setMinimumWidth(140);
    toolbar->addWidget(filterField);
    connect(about, &QAction::triggered, window, [window] {
        QMessageBox::about(window, tr("About Kinovela"),
                           tr("<b>Kinovela %1</b><p>Turns movie files into tagged MP4 files for a media library, with "
                              "metadata from TMDb and subtitles from OpenSubtitles.</p>").arg(QStringLiteral(KINOVELA_VERSION)));
    });
    connect(filter, &QAction::triggered, filterField, [this] {
        filterField->setFocus(Qt::ShortcutFocusReason);
        filterField->selectAll();
    });
    window->addActions({undo, redo, selectAll, filter, showLog, quit});
}

void WindowActions::update(bool busy, int selected, int count)
{
    m_busy = busy;
    undoSave->setEnabled(!busy && !m_lastSave.isEmpty());
    open->setEnabled(!busy);
    save->setEnabled(!busy && count > 0);
    for (QAction *single : {findMovie, subtitle, edit})
        single->setEnabled(!busy && selected == 1);
    batchEdit->setEnabled(!busy && selected > 0);
    batchEdit->setText(selected > 1 ? tr("&Batch Edit %1 Movies\u2026").arg(selected) : tr("&Batch Edit\u2026"));
    remove->setEnabled(!busy && selected > 0);
    selectAll->setEnabled(count > 0);
    filter->setEnabled(count > 0);
    filterField->setEnabled(count > 0);
}

void WindowActions::setLastSave(const QString &lastSave)
{
    m_lastSave = lastSave;
    undoSave->setEnabled(!m_busy && !lastSave.isEmpty());
    undoSave->setToolTip(lastSave.isEmpty() ? tr("There is no Save to undo") : tr("Take back the Save of %1").arg(lastSave));
    undoSave->setStatusTip(undoSave->toolTip());
}

void WindowActions::showMatchState(bool identified)
{
    findMovie->setText(identified ? tr("Wrong Movie") : tr("Find Movie"));
    findMovie->setIcon(Icons::named(identified ? QStringLiteral("edit-find-replace") : QStringLiteral("edit-find")));
    findMovie->setToolTip(tooltipWithShortcut(identified ? tr("Not this movie? Search TMDb and choose the right one")
                                                         : tr("Search TMDb for the selected movie and choose it"),
                                              findMovie->shortcut()));
}
