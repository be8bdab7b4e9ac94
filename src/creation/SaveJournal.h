#pragma once

#include "base/Outcome.h"
#include "creation/SavePlan.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <functional>
#include <memory>

class QLockFile;

/** One change a Save makes to a file, recorded before it is made and marked done after. */
struct JournalStep
{
    enum class Kind {
        Unfinished, ///< the converter writes @c path (removed by the Save when it fails)
        Tagged,     ///< tags written into @c path in place; @c snapshot keeps what they changed
        Moved,      ///< the movie went from @c path to @c to
        Created,    ///< a new movie at @c path
        Trashed,    ///< the source @c path went to the Trash, to @c to
        Deleted,    ///< the source @c path was deleted outright
    };
    enum class State {
        Pending, ///< recorded before the change: it may or may not have happened
        Done,
        Undone,
        Left,     ///< an undo could not take it back; @c note says why
        Undoing, ///< an undo began taking it back: the file may be as the undo left it
    };

    Kind kind = Kind::Created;
    State state = State::Pending;
    QString path;
    QString to;
    /** Tagged: the file in the journal's folder that holds the header snapshot. */
    QString snapshot;
    /** The file as the step left it (HeaderSnapshot::Fingerprint); empty when not known. */
    QJsonObject after;
    QString note;
};

/** What a Save did to one movie. */
struct JournalEntry
{
    QString source;
    QString movieTitle;
    QString action; ///< "tag", "move", "convert"
    QList<JournalStep> steps;
};

/**
 * The record of one Save, kept so that it can be undone: for every movie the
 * files it created, moved, tagged in place (with the header as it was), sent
 * to the Trash or deleted. Each change is written down, and flushed, before
 * it is made and again when it is done, so that a Save stopped at any instant
 * (a crash, a power cut) can still be undone.
 *
 * Journals live in the data folder ($XDG_DATA_HOME/Kinovela/Kinovela/saves),
 * one folder per Save; a Save that changed nothing leaves none. Only the
 * last few are kept. Recording is not thread-safe: one item at a time.
 */
class SaveJournal
{
public:
    enum class State { Running, Finished, Undone };

    /** Where the journals are kept; empty when there is no data folder. */
    static QString folder();
    /** A journal for the Save of @p plan; nothing is written before the first step. */
    static SaveJournal start(const SavePlan &plan);
    /** Whether changes can be recorded (there is a data folder); without, a Save cannot be undone. */
    bool enabled() const { return !m_folder.isEmpty(); }
    /** The journal of the last Save that changed files; Missing when there is none. */
    static Outcome<SaveJournal> last();
    static Outcome<SaveJournal> read(const QString &journalFolder);

    /** A new entry for @p planned; returns its index. */
    int addEntry(const PlannedItem &planned);
    /** Writes @p step down as pending (flushed) before the change is made; returns its index. */
    Outcome<int> record(int entry, const JournalStep &step);
    /** The change was made: @p update fills in what is known now (the Trash path, the fingerprint). */
    Status markDone(int entry, int step, const std::function<void(JournalStep &)> &update = {});
    /** The change was not made after all (it failed): forgets the step. */
    Status drop(int entry, int step);
    /** Writes the step's new state (undo). */
    Status setState(int entry, int step, JournalStep::State state, const QString &note = {});
    /** The Save ended; an undo ended. */
    Status finish(State state);

    /**
     * Takes the journal's lock, which a running Save holds from its first step
     * to its end: an undo must not take back a Save still being made (by this
     * process or another). A lock left by a process that died is taken over.
     */
    Status lock();

    /** Keeps @p bytes beside the journal (a header snapshot); returns the name to record. */
    Outcome<QString> keep(const QString &name, const QByteArray &bytes);
    Outcome<QByteArray> kept(const QString &name) const;

    bool hasChanges() const;
    State state() const { return m_state; }
    QDateTime started() const { return m_started; }
    QString destination() const { return m_destination; }
    const QList<JournalEntry> &entries() const { return m_entries; }
    QString path() const { return m_folder; }

private:
    Status write();
    Status ensureFolder();
    QJsonObject toJson() const;

    QString m_folder;
    QDateTime m_started;
    QString m_destination;
    State m_state = State::Running;
    QList<JournalEntry> m_entries;
    std::shared_ptr<QLockFile> m_lock;
};
