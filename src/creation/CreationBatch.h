#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "base/Preset.h"

#include <QList>
#include <QObject>
#include <QString>

class ConverterRunner;
class WriteBehind;
class Progress;

/** What happened to one item of a creation batch. */
struct CreationResult
{
    QString source;
    QString action; // "tag", "move", "convert"
    QString outputPath;
    QString movieTitle;
    Status status;

    bool succeeded() const { return status.ok(); }
    /** Why the item was not created; empty when it was. */
    QString reason() const { return status.errorText(); }
};

/**
 * "Save": turns a snapshot of the movie list into tagged MP4 files in a
 * destination folder, one item after another (tag in place, tag and move,
 * or convert), reporting through the shared Progress object.
 *
 * Nothing is lost: a conversion counts only when the converter ended
 * cleanly and left a readable movie; a failed item keeps its source
 * untouched and leaves no temporary file; the source is removed only after
 * the converted file is tagged and in its final place; when the final path
 * is taken, the converted file keeps its temporary name and the source
 * stays. Cancel stops the converter, removes its temporary file and stops
 * before the next item.
 */
class CreationBatch : public QObject
{
    Q_OBJECT
public:
    explicit CreationBatch(Progress *progress, QObject *parent = nullptr);
    ~CreationBatch() override;

    /** Starts the batch and returns at once; finished() follows, also for an empty list. */
    void creationTaskWithDestinationFolder(const QString &destinationFolder, const QList<MovieItem> &items,
                                           Preset preset);
    void cancel();
    bool isRunning() const { return m_running; }
    QList<CreationResult> results() const { return m_results; }

    static bool allSucceeded(const QList<CreationResult> &results);

Q_SIGNALS:
    void finished(const QList<CreationResult> &results);

private:
    void processNext();
    void finishItem(const CreationResult &result);
    void convert(const MovieItem &item, CreationResult result);
    void converted(const MovieItem &item, CreationResult result, const QString &temporaryPath, const Status &status);
    void finishBatch();

    Progress *m_progress;
    ConverterRunner *m_runner;
    WriteBehind *m_writeBehind;
    QList<MovieItem> m_items;
    QList<CreationResult> m_results;
    QString m_destination;
    Preset m_option = Presets::Default;
    int m_index = 0;
    bool m_running = false;
    bool m_cancelled = false;
};
