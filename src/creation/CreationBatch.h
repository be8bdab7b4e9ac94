#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "base/Preset.h"
#include "creation/ItemWork.h"
#include "creation/SaveJournal.h"
#include "creation/SavePlan.h"
#include "creation/StreamPlan.h"

#include <QFutureWatcher>
#include <QList>
#include <QObject>
#include <QString>

class ConverterRunner;
class WriteBehind;
class Progress;

/**
 * "Save": turns a snapshot of the movie list into tagged MP4 files in a
 * destination folder, one item after another (tag in place, tag and move,
 * or convert), reporting through the shared Progress object.
 *
 * It does exactly what its SavePlan says: the plan has checked every final
 * path and decided each item's action, arguments and tags before any work.
 * Every change to a file is written to the Save's journal before it is
 * made (SaveJournal), so that the Save can be undone.
 * Nothing is lost: a conversion counts only when the converter
 * ended cleanly and left a movie with every mapped track and the source's
 * duration; a failed item keeps its source untouched and leaves no
 * temporary file; a source goes (to the Trash, unless the options say
 * delete) only after the converted file is tagged, flushed and in its final
 * place. All file work runs on a worker thread; Cancel stops the converter,
 * removes its temporary file and stops before the next step.
 */
class CreationBatch : public QObject
{
    Q_OBJECT
public:
    explicit CreationBatch(Progress *progress, QObject *parent = nullptr);
    ~CreationBatch() override;

    /** Carries out @p plan and returns at once; finished() follows, also for an empty plan. */
    void run(const SavePlan &plan);
    /** Plans the Save of @p items into @p destinationFolder (SavePlan::check) and runs it. */
    void creationTaskWithDestinationFolder(const QString &destinationFolder, const QList<MovieItem> &items,
                                           Preset preset, const SaveOptions &options = {});
    void cancel();
    bool isRunning() const { return m_running; }
    QList<CreationResult> results() const { return m_results; }

    static bool allSucceeded(const QList<CreationResult> &results);

Q_SIGNALS:
    void finished(const QList<CreationResult> &results);

private:
    void processNext();
    void finishItem(const CreationResult &result);
    void runFileWork(std::function<CreationResult()> work);
    void convert(const PlannedItem &planned, double duration, CreationResult result);
    void converted(const PlannedItem &planned, double duration, CreationResult result, const Status &status);
    void finishBatch();

    Progress *m_progress;
    ConverterRunner *m_runner;
    WriteBehind *m_writeBehind;
    QFutureWatcher<CreationResult> m_fileWork;
    SavePlan m_plan;
    SaveJournal m_journal;
    ItemWork::JournalPlace m_place;
    QList<CreationResult> m_results;
    int m_index = 0;
    bool m_running = false;
    bool m_cancelled = false;
};
