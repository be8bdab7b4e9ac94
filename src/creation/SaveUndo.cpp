#include "creation/SaveUndo.h"

#include "creation/FileMove.h"
#include "creation/HeaderSnapshot.h"
#include "creation/Trash.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QLocale>

#include <sys/stat.h>

namespace {

using Kind = JournalStep::Kind;
using State = JournalStep::State;

bool exists(const QString &path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

/** Whether @p path is still the file the step left: same size and same header. */
bool unchanged(const QString &path, const JournalStep &step)
{
    const Outcome<HeaderSnapshot::Fingerprint> now = HeaderSnapshot::fingerprint(path);
    const Outcome<HeaderSnapshot::Fingerprint> then = HeaderSnapshot::Fingerprint::fromJson(step.after);
    return now && then && now->size == then->size && now->digest == then->digest;
}

Status removeFile(const QString &path)
{
    QFile file(path);
    if (!file.remove())
        return failure(ErrorKind::Io, QStringLiteral("%1 could not be removed (%2)").arg(path, file.errorString()));
    return FileMove::syncFolder(QFileInfo(path).path());
}

/** What taking one step back did: a line for the report, or why it could not be done. */
struct StepOutcome
{
    bool done = true;
    QString text; ///< empty when there was nothing to say
};

StepOutcome said(const QString &text)
{
    return {true, text};
}

StepOutcome refused(const QString &text)
{
    return {false, text};
}

StepOutcome undoCreated(const JournalStep &step)
{
    if (!exists(step.path))
        return said({});
    if (!unchanged(step.path, step))
        return refused(step.state == State::Pending
                           ? QStringLiteral("kept %1: it is not the movie the Save was writing").arg(step.path)
                           : QStringLiteral("kept %1: it was changed after the Save").arg(step.path));
    if (const Status removed = removeFile(step.path); !removed)
        return refused(QStringLiteral("kept ") + removed.errorText());
    return said(QStringLiteral("removed ") + step.path);
}

StepOutcome undoTrashed(const JournalStep &step)
{
    if (exists(step.path) && !step.to.isEmpty() && exists(step.to))
        return refused(QStringLiteral("a file is in the place of %1; the source stays in the Trash (%2)").arg(step.path, step.to));
    if (exists(step.path))
        return said(step.state == State::Pending ? QString() : QStringLiteral("%1 is back in its place already").arg(step.path));
    const Status restored = Trash::restore(step.to, step.path);
    if (!restored)
        return refused(QStringLiteral("%1 could not be put back from the Trash: %2").arg(step.path, restored.errorText()));
    return said(QStringLiteral("put back from the Trash: ") + step.path);
}

StepOutcome undoMoved(const JournalStep &step)
{
    if (!exists(step.to) && exists(step.path))
        return said({});
    if (!unchanged(step.to, step))
        return refused(QStringLiteral("kept %1 where it is: it was changed after the Save").arg(step.to));
    if (const Status moved = FileMove::moveFile(step.to, step.path); !moved)
        return refused(QStringLiteral("%1 could not be moved back to %2: %3").arg(step.to, step.path, moved.errorText()));
    return said(QStringLiteral("moved back to ") + step.path);
}

StepOutcome undoTagged(const SaveJournal &journal, const JournalStep &step)
{
    const Outcome<QByteArray> snapshot = journal.kept(step.snapshot);
    if (!snapshot)
        return refused(QStringLiteral("the tags of %1 cannot be put back: %2").arg(step.path, snapshot.errorText()));
    if (HeaderSnapshot::matches(step.path, *snapshot))
        return said(QStringLiteral("%1 is as it was before the Save").arg(step.path));
    // A tagging that may have been stopped, or an undo that was, leaves the file as only Kinovela changes it.
    if (step.state == State::Done && !unchanged(step.path, step))
        return refused(QStringLiteral("left %1 as it is: its tags were changed after the Save").arg(step.path));
    if (const Status restored = HeaderSnapshot::restore(step.path, *snapshot); !restored)
        return refused(QStringLiteral("the tags of %1 could not be put back: %2").arg(step.path, restored.errorText()));
    return said(QStringLiteral("tags put back as they were: ") + step.path);
}

StepOutcome undoStep(const SaveJournal &journal, const JournalStep &step)
{
    switch (step.kind) {
    case Kind::Unfinished:
        if (!exists(step.path))
            return said({});
        if (const Status removed = removeFile(step.path); !removed)
            return refused(QStringLiteral("kept the unfinished ") + removed.errorText());
        return said(QStringLiteral("removed the unfinished ") + step.path);
    case Kind::Created: return undoCreated(step);
    case Kind::Trashed: return undoTrashed(step);
    case Kind::Deleted:
        return refused(QStringLiteral("%1 was deleted outright by the Save and cannot come back").arg(step.path));
    case Kind::Moved: return undoMoved(step);
    case Kind::Tagged: return undoTagged(journal, step);
    }
    return refused(QStringLiteral("an unknown change"));
}

/** What the Save left of a step that is kept because a later one could not be taken back. */
QString keptBecause(const JournalStep &step)
{
    switch (step.kind) {
    case Kind::Created: return QStringLiteral("kept %1, so that the movie is not lost").arg(step.path);
    case Kind::Tagged: return QStringLiteral("kept the new tags of %1").arg(step.path);
    case Kind::Moved: return QStringLiteral("kept %1 where it is").arg(step.to);
    case Kind::Unfinished: return QStringLiteral("kept the unfinished %1").arg(step.path);
    default: return {};
    }
}

UndoneMovie undoEntry(SaveJournal &journal, int entryIndex)
{
    const JournalEntry &entry = journal.entries().at(entryIndex);
    UndoneMovie movie{entry.source, entry.movieTitle, {}, {}};
    bool stopped = false;
    for (int i = int(entry.steps.size()) - 1; i >= 0; --i) {
        const JournalStep step = journal.entries().at(entryIndex).steps.at(i);
        if (step.state != State::Pending && step.state != State::Done && step.state != State::Undoing)
            continue;
        if (stopped) {
            // An earlier change stays when a later one could not be taken back: the movie keeps a copy.
            const QString kept = keptBecause(step);
            if (!kept.isEmpty())
                movie.left.append(kept);
            (void)journal.setState(entryIndex, i, State::Left, QStringLiteral("kept because a later change could not be undone"));
            continue;
        }
        if (step.kind == Kind::Tagged && step.state == State::Done) {
            // Written down first: an undo stopped while it puts the header back is finished by the next one.
            if (const Status marked = journal.setState(entryIndex, i, State::Undoing); !marked) {
                movie.left.append(QStringLiteral("the tags of %1 were not put back: %2").arg(step.path, marked.errorText()));
                stopped = true;
                continue;
            }
        }
        const StepOutcome outcome = undoStep(journal, step);
        if (outcome.done) {
            if (!outcome.text.isEmpty())
                movie.undone.append(outcome.text);
            (void)journal.setState(entryIndex, i, State::Undone);
        } else {
            movie.left.append(outcome.text);
            (void)journal.setState(entryIndex, i, State::Left, outcome.text);
            stopped = true;
        }
    }
    return movie;
}

} // namespace

bool UndoReport::complete() const
{
    return status.ok() && std::all_of(movies.cbegin(), movies.cend(), [](const UndoneMovie &movie) { return movie.left.isEmpty(); });
}

QString UndoReport::summary() const
{
    if (!status)
        return (status.errorKind() == ErrorKind::Missing ? QStringLiteral("Nothing to undo: ") : QStringLiteral("Cannot undo: "))
            + status.errorText() + QLatin1Char('.');
    const QString when = QLocale().toString(saveStarted.toLocalTime(), QLocale::ShortFormat);
    const QString what = movies.size() == 1 ? QStringLiteral("1 movie") : QStringLiteral("%1 movies").arg(movies.size());
    return (complete() ? QStringLiteral("Undid the Save of %1 into %2 (%3).")
                       : QStringLiteral("Undid the Save of %1 into %2 (%3) in part: some files were left as they are."))
        .arg(when, destination, what);
}

QJsonObject UndoReport::toJson() const
{
    QJsonArray list;
    for (const UndoneMovie &movie : movies)
        list.append(QJsonObject{{QStringLiteral("source"), movie.source},
                                {QStringLiteral("movieTitle"), movie.movieTitle},
                                {QStringLiteral("undone"), QJsonArray::fromStringList(movie.undone)},
                                {QStringLiteral("left"), QJsonArray::fromStringList(movie.left)}});
    QJsonObject object{{QStringLiteral("complete"), complete()}, {QStringLiteral("summary"), summary()}, {QStringLiteral("movies"), list}};
    if (status) {
        object.insert(QStringLiteral("saveStarted"), saveStarted.toString(Qt::ISODate));
        object.insert(QStringLiteral("destination"), destination);
    }
    return object;
}

namespace SaveUndo {

UndoReport undoLast()
{
    Outcome<SaveJournal> journal = SaveJournal::last();
    if (!journal) {
        UndoReport report;
        report.status = journal.error();
        return report;
    }
    return undo(journal.value());
}

UndoReport undo(SaveJournal &journal)
{
    UndoReport report;
    report.saveStarted = journal.started();
    report.destination = journal.destination();
    if (Status locked = journal.lock(); !locked) {
        report.status = locked;
        return report;
    }
    // The last change first: the movies in reverse, each movie's steps in reverse.
    for (int i = int(journal.entries().size()) - 1; i >= 0; --i) {
        report.movies.prepend(undoEntry(journal, i));
    }
    (void)journal.finish(SaveJournal::State::Undone);
    return report;
}

} // namespace SaveUndo
