#include "ui/AppDelegate.h"

#include "app/AppCore.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "base/Progress.h"
#include "ui/EditCommands.h"
#include "ui/LogWindow.h"
#include "ui/MessageBar.h"
#include "ui/MetadataEditor.h"
#include "ui/MovieSearchSheet.h"
#include "ui/MovieTable.h"
#include "ui/PosterPanel.h"
#include "ui/ProgressSheet.h"
#include "ui/SaveResultDialog.h"
#include "ui/SaveReviewSheet.h"
#include "ui/SettingsSheet.h"
#include "ui/SubtitleSheet.h"
#include "ui/WindowActions.h"
#include "ui/WindowDialogs.h"

#include <QAction>
#include <QCloseEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QLineEdit>
#include <QMimeData>
#include <QPointer>
#include <QScreen>
#include <QSettings>
#include <QSplitter>
#include <QUndoStack>
#include <QVBoxLayout>

AppDelegate::AppDelegate(QWidget *parent)
    : QMainWindow(parent)
    , m_core(new AppCore(this))
    , m_undo(new QUndoStack(this))
    , m_log(new LogWindow(this))
    , m_table(new MovieTable(m_core->list(), this))
    , m_messageBar(new MessageBar(this))
    , m_poster(new PosterPanel(this))
    , m_actions(new WindowActions(this, m_undo))
    , m_progress(new ProgressSheet(m_core->progress(), this))
    , m_settings(new SettingsSheet(m_core, this))
    , m_movieSearch(new MovieSearchSheet(m_core, this))
    , m_subtitles(new SubtitleSheet(this))
    , m_editor(new MetadataEditor(this))
    , m_batchEdit(new BatchEditSheet(this))
    , m_review(new SaveReviewSheet(this))
{
    setObjectName(QStringLiteral("window"));
    setWindowTitle(QStringLiteral("Kinovela"));
    setWindowIcon(QIcon(QStringLiteral(":/images/icon.png")));
    setAcceptDrops(true);
    auto *splitter = new QSplitter(this);
    splitter->setObjectName(QStringLiteral("mainView"));
    splitter->addWidget(m_table);
    splitter->addWidget(m_poster);
    splitter->setStretchFactor(0, 1);
    splitter->setCollapsible(0, false);
    auto *central = new QWidget(this);
    auto *layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_messageBar);
    layout->addWidget(splitter, 1);
    setCentralWidget(central);

    WindowActions *a = m_actions;
    connect(a->open, &QAction::triggered, this, &AppDelegate::openMoviesBTN_clicked);
    connect(a->save, &QAction::triggered, this, &AppDelegate::saveBTN_clicked);
    connect(a->settings, &QAction::triggered, m_settings, &SettingsSheet::openSheet);
    connect(a->quit, &QAction::triggered, this, &QWidget::close);
    connect(a->selectAll, &QAction::triggered, m_table, &QTableView::selectAll);
    connect(a->showLog, &QAction::triggered, m_log, [this] { m_log->show(); m_log->raise(); });
    connect(a->filterField, &QLineEdit::textChanged, m_table->sortModel(), &MovieSortModel::setFilterText);
    connect(m_table, &MovieTable::selectedMoviesChanged, this, &AppDelegate::selectionChanged);
    connect(m_table, &MovieTable::editRequested, a->edit, &QAction::trigger);
    connect(m_core->list(), &QAbstractItemModel::rowsInserted, this, [this] {
        if (m_importing)
            m_progress->setCurrent(m_core->list()->count() + 1);
        updateActions();
    });
    connect(m_core->list(), &QAbstractItemModel::rowsRemoved, this, &AppDelegate::updateActions);
    connect(m_core->list(), &QAbstractItemModel::modelReset, this, &AppDelegate::updateActions);
    connect(m_messageBar, &MessageBar::showLogRequested, a->showLog, &QAction::trigger);
    connect(m_core, &AppCore::serviceProblem, this,
            [this](const QString &message) { m_messageBar->showMessage(message, MessageBar::Level::Error); });
    connect(m_core, &AppCore::importFinished, this, &AppDelegate::importFinished);
    connect(m_core, &AppCore::saveFinished, this, &AppDelegate::saveFinished);
    connect(m_core->progress(), &Progress::titleChanged, this, [this](const QString &title) {
        // The Save titles each movie as it starts on it: that counts "3 of 10".
        if (m_core->isSaving() && title.startsWith(QLatin1String("Creating Movie : ")))
            m_progress->setCurrent(++m_saveIndex);
    });
    connect(m_progress, &ProgressSheet::cancelRequested, m_core, &AppCore::cancelSave);
    // A Save that first waited for store genres begins its progress anew: the count "3 of 10" is set again.
    connect(m_core->progress(), &Progress::began, this, [this] {
        if (m_core->isSaving())
            m_progress->setTotal(m_core->list()->count());
    });
    m_progress->setQuitKeys(a->quit->shortcut());
    connect(m_progress, &ProgressSheet::quitRequested, this, &QWidget::close);
    connect(m_review, &SaveReviewSheet::confirmed, this, &AppDelegate::startSave);
    connect(a->undoSave, &QAction::triggered, this, [this] {
        const QString lastSave = m_core->lastSaveText();
        if (lastSave.isEmpty() || m_core->isSaving() || m_core->isUndoing() || m_importing) {
            m_actions->setLastSave(lastSave);
            return;
        }
        WindowDialogs::askToUndoSave(this, lastSave, [this] {
            m_core->undoLastSave();
            updateActions();
        });
    });
    connect(m_core, &AppCore::undoFinished, this, [this](const UndoReport &report) {
        m_table->sortModel()->clearSaveOutcomes();
        m_actions->setLastSave(m_core->lastSaveText());
        updateActions();
        WindowDialogs::showUndoReport(this, report);
    });
    m_actions->setLastSave(m_core->lastSaveText());
    connect(m_review, &SaveReviewSheet::leaveOutReviewRequested, this, [this] {
        const SavePlan &shown = m_review->plan();
        m_review->showPlan(m_core->planSave(shown.settings.destination, shown.settings.options.clashes, true));
    });
    connectSheets();
    restoreWindow();
    updateActions();
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::connectSheets()
{
    WindowActions *a = m_actions;
    // Each sheet opens on the selected movies and keeps them: what it gives back replaces them by serial number.
    connect(a->findMovie, &QAction::triggered, this, [this] {
        if (const auto item = m_table->singleSelectedItem())
            m_movieSearch->openFor(*item);
    });
    connect(a->subtitle, &QAction::triggered, this, [this] {
        if (const auto item = m_table->singleSelectedItem())
            m_subtitles->openFor(*item);
    });
    connect(a->edit, &QAction::triggered, this, [this] {
        if (const auto item = m_table->singleSelectedItem())
            m_editor->openFor(*item);
    });
    connect(a->batchEdit, &QAction::triggered, this, [this] {
        if (!m_table->selectedItems().isEmpty())
            m_batchEdit->openFor(m_table->selectedItems());
    });
    connect(a->remove, &QAction::triggered, this, [this] {
        if (!m_table->selectedItems().isEmpty())
            m_undo->push(new RemoveMoviesCommand(m_core->list(), m_table, m_table->selectedItems()));
    });
    connect(m_movieSearch, &MovieSearchSheet::chosen, this, [this](const MovieItem &before, const MovieItem &after) {
        replaceMovies(tr("Choose %1").arg(after.value(ItemKey::movieTitle).toString()), {before}, {after});
        Q_EMIT sheetFinished(QStringLiteral("moiveSearchWindow"));
    });
    connect(m_subtitles, &SubtitleSheet::chosen, this, [this](const MovieItem &before, const MovieItem &after) {
        replaceMovies(tr("Choose Subtitle"), {before}, {after});
        Q_EMIT sheetFinished(QStringLiteral("subtitleSearchWindow"));
    });
    connect(m_editor, &MetadataEditor::edited, this, [this](const MovieItem &before, const MovieItem &after) {
        replaceMovies(tr("Edit %1").arg(after.value(ItemKey::movieTitle).toString()), {before}, {after});
    });
    connect(m_batchEdit, &BatchEditSheet::edited, this,
            [this](const QList<MovieItem> &before, const QList<MovieItem> &after) { replaceMovies(tr("Batch Edit"), before, after); });
}

void AppDelegate::replaceMovies(const QString &what, const QList<MovieItem> &before, const QList<MovieItem> &after)
{
    m_undo->push(new ReplaceMoviesCommand(what, m_core->list(), m_table, before, after));
}

void AppDelegate::applicationDidFinishLaunching()
{
    m_core->applicationDidFinishLaunching();
    m_settings->load();
    QStringList names;
    for (const QVariantMap &language : m_core->languages())
        names.append(language.value(QStringLiteral("English")).toString());
    m_editor->setLanguageNames(names);
    m_batchEdit->setLanguageNames(names);
}

void AppDelegate::openMoviesBTN_clicked()
{
    WindowDialogs::chooseMovies(this, [this](const QList<QUrl> &files) { openFiles(files); });
}

void AppDelegate::openFiles(const QList<QUrl> &urls)
{
    if (urls.isEmpty() || m_importing || m_core->isSaving() || m_core->isUndoing())
        return;
    const QString warning = ImportPipeline::subtitleQuotaWarning(int(urls.size()), m_core->conversionOption());
    if (warning.isEmpty()) {
        startImport(urls);
        return;
    }
    QPointer<AppDelegate> self(this);
    WindowDialogs::askAboutSubtitleAllowance(this, warning, [self, urls] {
        if (self && !self->m_importing && !self->m_core->isSaving())
            self->startImport(urls);
    });
}

void AppDelegate::startImport(const QList<QUrl> &urls)
{
    m_undo->clear();
    m_table->sortModel()->clearSaveOutcomes();
    m_importing = true;
    m_core->importFiles(urls);
    m_progress->setTotal(int(urls.size()));
    m_progress->setCurrent(1);
    updateActions();
}

void AppDelegate::importFinished(const QStringList &rejected)
{
    m_importing = false;
    if (m_table->selectionModel()->selectedRows().isEmpty() && m_table->model()->rowCount() > 0)
        m_table->selectSerialNumbers({m_table->itemShownAt(0).value(ItemKey::serialNumber).toLongLong()});
    QStringList names;
    for (const QString &path : rejected)
        names.append(QFileInfo(path).fileName());
    if (names.size() == 1)
        m_messageBar->showMessage(tr("%1 was not added: it is not a video file Kinovela can read.").arg(names.constFirst()));
    else if (names.size() > 1)
        m_messageBar->showMessage(tr("%1 files were not added, they are not video files Kinovela can read: %2")
                                      .arg(names.size()).arg(names.join(QStringLiteral(", "))));
    updateActions();
}

void AppDelegate::saveBTN_clicked()
{
    if (!m_core->isSaving() && !m_importing && m_core->list()->count() > 0)
        WindowDialogs::chooseDestination(this, [this](const QString &folder) { creationTaskWithDestinationFolder(folder); });
}

void AppDelegate::creationTaskWithDestinationFolder(const QString &destinationFolder)
{
    if (m_core->isSaving() || destinationFolder.isEmpty())
        return;
    m_saveDestination = destinationFolder;
    m_core->prepareSave(destinationFolder, [this, destinationFolder](const SavePlan &plan) {
        // Names that are taken are found before anything is written, and the person decides.
        QStringList clashes;
        for (const PlannedItem &planned : plan.entries) {
            if (planned.clashes())
                clashes.append(planned.problemText);
        }
        if (clashes.isEmpty()) {
            reviewSave(plan);
            return;
        }
        WindowDialogs::askAboutClashes(this, clashes, [this, destinationFolder](ClashPolicy policy) {
            reviewSave(m_core->planSave(destinationFolder, policy));
        });
    });
    updateActions();
}

void AppDelegate::reviewSave(const SavePlan &plan)
{
    updateActions();
    m_review->showPlan(plan);
}

void AppDelegate::startSave(const SavePlan &plan)
{
    if (m_core->isSaving())
        return;
    m_saveDestination = plan.settings.destination;
    m_saveIndex = 0;
    m_table->sortModel()->clearSaveOutcomes();
    m_core->save(plan);
    m_progress->setTotal(int(plan.entries.size()));
    updateActions();
}

void AppDelegate::saveFinished(const QList<CreationResult> &results)
{
    m_actions->setLastSave(m_core->lastSaveText());
    m_table->sortModel()->showSaveResults(results, m_core->list()->items());
    updateActions();
    Q_EMIT creationFinished(results);
    if (m_quitWhenSaveEnds)
        close();
    else
        (new SaveResultDialog(results, m_saveDestination, this))->open();
}

void AppDelegate::selectionChanged()
{
    const QList<MovieItem> selected = m_table->selectedItems();
    m_poster->showMovies(selected);
    if (selected.size() == 1)
        m_actions->showMatchState(selected.constFirst().value(ItemKey::movieFoundStatus).toBool());
    updateActions();
}

void AppDelegate::updateActions()
{
    m_actions->update(m_importing || m_core->isSaving() || m_core->isUndoing(), int(m_table->selectionModel()->selectedRows().size()),
                      m_core->list()->count());
}

void AppDelegate::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls() && !m_importing && !m_core->isSaving() && !m_core->isUndoing())
        event->acceptProposedAction();
}

void AppDelegate::dropEvent(QDropEvent *event)
{
    QList<QUrl> files;
    for (const QUrl &url : event->mimeData()->urls()) {
        if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile())
            files.append(url);
    }
    if (files.isEmpty())
        return;
    event->acceptProposedAction();
    openFiles(files);
}

void AppDelegate::closeEvent(QCloseEvent *event)
{
    // An undo puts files back in a few seconds and is not cut off: the window waits for it.
    if (m_core->isUndoing()) {
        event->ignore();
        return;
    }
    // Quitting during a Save asks first; stopping cancels it cleanly and quits when it has ended.
    if (m_core->isSaving()) {
        event->ignore();
        if (!m_quitWhenSaveEnds)
            WindowDialogs::askToStopSave(this, [this] {
                m_quitWhenSaveEnds = true;
                m_core->cancelSave();
            });
        return;
    }
    QSettings settings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
    settings.setValue(QStringLiteral("window/geometry"), saveGeometry());
    settings.setValue(QStringLiteral("window/columns"), m_table->horizontalHeader()->saveState());
    m_log->close();
    event->accept();
}

void AppDelegate::restoreWindow()
{
    const QSettings settings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela"));
    m_table->horizontalHeader()->restoreState(settings.value(QStringLiteral("window/columns")).toByteArray());
    if (restoreGeometry(settings.value(QStringLiteral("window/geometry")).toByteArray()))
        return;
    // The first start: most of the screen, never more than it (at any scaling), centred.
    const QRect screen = this->screen()->availableGeometry();
    resize(qMin(1280, screen.width() * 9 / 10), qMin(800, screen.height() * 9 / 10));
    move(screen.center() - rect().center());
}
