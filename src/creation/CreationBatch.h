#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "base/Preset.h"
#include "creation/ItemWork.h"
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
 * Nothing is lost: before any work every final path is checked
 * (SavePlan::check) and items whose name clashes are renamed, skipped or
 * failed as the options say; a conversion counts only when the converter
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

    /** Starts the batch and returns at once; finished() follows, also for an empty list. */
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
    void convert(const MovieItem &item, CreationResult result);
    void converted(const MovieItem &item, CreationResult result, const QString &temporaryPath,
                   const ConversionPlan &plan, const Status &status);
    void finishBatch();

    Progress *m_progress;
    ConverterRunner *m_runner;
    WriteBehind *m_writeBehind;
    QFutureWatcher<CreationResult> m_fileWork;
    QList<MovieItem> m_items;
    QList<PlannedItem> m_plan;
    QList<CreationResult> m_results;
    QString m_destination;
    Preset m_option = Presets::Default;
    SaveOptions m_options;
    int m_index = 0;
    bool m_running = false;
    bool m_cancelled = false;
};
