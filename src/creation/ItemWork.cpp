#include "creation/ItemWork.h"

#include "base/Diagnostics.h"
#include "creation/FileMove.h"
#include "creation/TrackFlags.h"
#include "creation/FileNames.h"
#include "creation/HeaderSnapshot.h"
#include "creation/Mp4TagSpace.h"
#include "creation/OutputCheck.h"
#include "creation/TagWriter.h"
#include "creation/Trash.h"

#include <QFile>
#include <QFileInfo>

#include <cmath>

namespace ItemWork {

namespace {

QString seconds(double value)
{
    return QString::number(value, 'f', 1) + QStringLiteral(" s");
}

/** Moves @p from to @p to, or, when a file took that name meanwhile, to the next free "Title (n).mp4". */
Status moveToFreeName(const QString &from, QString &to)
{
    Status moved = FileMove::moveFile(from, to);
    const QFileInfo wanted(to);
    for (int n = 2; !moved && moved.errorKind() == ErrorKind::Exists && n < 1000; ++n) {
        to = wanted.path() + QLatin1Char('/') + FileNames::numbered(wanted.fileName(), n);
        moved = FileMove::moveFile(from, to);
    }
    return moved;
}

/** Marks the plan's forced text subtitles and disables the subtitles it leaves off; says so in @p notes when it cannot. */
void setSubtitleFlags(const QString &path, const ConversionPlan &plan, QStringList &notes)
{
    QList<int> forced;
    QList<int> disabled;
    for (const PlannedStream &stream : plan.outputStreams()) {
        if (stream.forced && stream.outputCodec == QLatin1String("mov_text"))
            forced.append(stream.outputIndex);
        if (!stream.enabled && stream.kind == QLatin1String("subtitle"))
            disabled.append(stream.outputIndex);
    }
    if (const Status set = TrackFlags::apply(path, forced, disabled); !set)
        notes.append(QStringLiteral("the subtitles' forced and enabled flags are as the converter left them: ") + set.errorText());
}

QJsonObject fingerprintOf(const QString &path)
{
    const Outcome<HeaderSnapshot::Fingerprint> print = HeaderSnapshot::fingerprint(path);
    return print ? print->toJson() : QJsonObject();
}

Error notRecorded(const Error &why)
{
    return failure(why.kind, QStringLiteral("nothing was changed, because the change could not be written down for Undo Last "
                                            "Save: ") + why.text);
}

/** Keeps the header of the movie about to be tagged in place, and records the tagging. */
Outcome<int> recordTagging(const JournalPlace &place, const QString &path)
{
    if (!place.journal)
        return -1;
    const Outcome<QByteArray> snapshot = HeaderSnapshot::take(path);
    if (!snapshot)
        return snapshot.error();
    const Outcome<QString> kept = place.journal->keep(QStringLiteral("%1.header").arg(place.entry), *snapshot);
    if (!kept)
        return kept.error();
    JournalStep step;
    step.kind = JournalStep::Kind::Tagged;
    step.path = path;
    step.snapshot = *kept;
    return recordBefore(place, step);
}

} // namespace

Outcome<int> recordBefore(const JournalPlace &place, const JournalStep &step)
{
    if (!place.journal)
        return -1;
    return place.journal->record(place.entry, step);
}

void recordAfter(const JournalPlace &place, int step, bool made, const std::function<void(JournalStep &)> &update)
{
    if (!place.journal || step < 0)
        return;
    // The change is made either way; a journal left saying "pending" is still undone right.
    const Status written = made ? place.journal->markDone(place.entry, step, update) : place.journal->drop(place.entry, step);
    if (!written)
        Diagnostics::write(written.errorText());
}

CreationResult tagAndMove(const PlannedItem &planned, CreationResult result, const JournalPlace &place)
{
    result.sourceFate = QStringLiteral("kept where it was");
    const Outcome<int> tagging = recordTagging(place, result.source);
    if (!tagging) {
        result.status = notRecorded(tagging.error());
        return result;
    }
    result.status = TagWriter::writeTags(result.source, planned.tags);
    recordAfter(place, *tagging, true, [&result](JournalStep &step) { step.after = fingerprintOf(result.source); });
    if (!result.status || planned.action == CreationAction::TagInPlace || planned.finalPath == result.source) {
        if (result.status) {
            result.outputPath = result.source;
            result.sourceFate = QStringLiteral("tagged where it was");
            result.verdict = OutputCheck::check(result.outputPath, nullptr).text();
        }
        return result;
    }
    JournalStep move;
    move.kind = JournalStep::Kind::Moved;
    move.path = result.source;
    move.to = planned.finalPath;
    move.after = fingerprintOf(result.source);
    const Outcome<int> moving = recordBefore(place, move);
    if (!moving) {
        result.outputPath = result.source;
        result.status = failure(moving.errorKind(), QStringLiteral("tagged where it lies; not moved, because the move could not be "
                                                                   "written down for Undo Last Save: ") + moving.errorText());
        return result;
    }
    const Status moved = FileMove::moveFile(result.source, planned.finalPath);
    recordAfter(place, *moving, moved.ok(), [&planned](JournalStep &step) { step.after = fingerprintOf(planned.finalPath); });
    if (!moved) {
        Diagnostics::write(QStringLiteral("Something went wrong while renaming: ") + moved.errorText());
        result.outputPath = result.source;
        result.status = failure(moved.errorKind(), QStringLiteral("tagged where it lies; could not move it: ") + moved.errorText());
        return result;
    }
    result.outputPath = planned.finalPath;
    result.sourceFate = QStringLiteral("moved to ") + planned.finalPath;
    result.verdict = OutputCheck::check(result.outputPath, nullptr).text();
    return result;
}

Status checkOutput(const QString &path, const QStringList &arguments, double sourceSeconds)
{
    const QList<QByteArray> kinds = Mp4TagSpace::trackKinds(path);
    if (kinds.isEmpty())
        return failure(ErrorKind::Invalid, QStringLiteral("the converter left no readable movie"));
    const auto lacks = [&](const char *option, std::initializer_list<const char *> handlers) {
        if (!arguments.contains(QLatin1String(option)))
            return false;
        for (const char *handler : handlers)
            if (kinds.contains(QByteArray(handler)))
                return false;
        return true;
    };
    if (lacks("-c:v", {"vide"}) || lacks("-c:a", {"soun"}) || lacks("-c:s", {"text", "sbtl", "subt"}))
        return failure(ErrorKind::Invalid, QStringLiteral("the converted movie lacks a track that was mapped"));
    const std::optional<double> output = Mp4TagSpace::movieDuration(path);
    if (sourceSeconds <= 0)
        return {};
    if (!output)
        return failure(ErrorKind::Invalid, QStringLiteral("the converted movie's duration cannot be read"));
    const double tolerance = std::max(1.0, sourceSeconds * 0.01);
    if (std::abs(*output - sourceSeconds) > tolerance)
        return failure(ErrorKind::Invalid, QStringLiteral("the converted movie lasts %1 but the source %2")
                                               .arg(seconds(*output), seconds(sourceSeconds)));
    return {};
}

QString disposeOf(const QString &path, bool deleteOutright, const JournalPlace &place)
{
    JournalStep step;
    step.kind = deleteOutright ? JournalStep::Kind::Deleted : JournalStep::Kind::Trashed;
    step.path = path;
    const Outcome<int> recorded = recordBefore(place, step);
    if (!recorded)
        return QStringLiteral("kept (it could not be written down for Undo Last Save: %1)").arg(recorded.errorText());
    if (deleteOutright) {
        QFile source(path);
        const bool removed = source.remove();
        recordAfter(place, *recorded, removed);
        if (!removed)
            return QStringLiteral("kept (it could not be deleted: %1)").arg(source.errorString());
        (void)FileMove::syncFolder(QFileInfo(path).absolutePath());
        return QStringLiteral("deleted");
    }
    // The Trash flushes the source's folder and its own.
    const Outcome<QString> inTrash = Trash::moveToTrash(path);
    recordAfter(place, *recorded, inTrash.ok(), [&inTrash](JournalStep &trashed) { trashed.to = *inTrash; });
    if (!inTrash)
        return QStringLiteral("kept (%1)").arg(inTrash.errorText());
    return QStringLiteral("moved to the Trash: ") + *inTrash;
}

CreationResult finishConversion(const PlannedItem &planned, double sourceSeconds, CreationResult result, bool deleteSource,
                                const JournalPlace &place)
{
    const QString &temporaryPath = planned.temporaryPath;
    const ConversionPlan &plan = planned.conversion;
    result.sourceFate = QStringLiteral("kept where it was");
    result.notes = plan.notes;
    setSubtitleFlags(temporaryPath, plan, result.notes);
    // A scratch file: it is thrown away on any failure, so it is flushed once, whole, before the source goes.
    result.status = TagWriter::writeTags(temporaryPath, planned.tags, Mp4TagSpace::Durability::Scratch);
    if (result.status)
        result.status = checkOutput(temporaryPath, plan.arguments, sourceSeconds);
    if (result.status) {
        const OutputCheck::Verdict verdict = OutputCheck::check(temporaryPath, &plan);
        result.status = verdict.status;
        result.verdict = verdict.text();
    }
    if (result.status && !FileMove::syncFile(temporaryPath))
        result.status = failure(ErrorKind::Io, QStringLiteral("the converted movie could not be flushed to the disk"));
    JournalStep created;
    created.kind = JournalStep::Kind::Created;
    created.path = result.outputPath;
    created.after = fingerprintOf(temporaryPath);
    const Outcome<int> naming = result.status ? recordBefore(place, created) : Outcome<int>(-1);
    if (!naming)
        result.status = notRecorded(naming.error());
    if (!result.status) {
        QFile::remove(temporaryPath);
        recordAfter(place, place.unfinishedStep, true);
        result.status = failure(result.status.errorKind(), result.status.errorText() + QStringLiteral(" (the source is kept)"));
        return result;
    }
    const QString wanted = result.outputPath;
    const Status moved = moveToFreeName(temporaryPath, result.outputPath);
    recordAfter(place, *naming, moved.ok(), [&result](JournalStep &step) { step.path = result.outputPath; });
    if (!moved)
        QFile::remove(temporaryPath);
    recordAfter(place, place.unfinishedStep, true);
    if (!moved) {
        result.outputPath.clear();
        result.status = failure(moved.errorKind(), QStringLiteral("the converted movie could not be named (the source is kept): ")
                                                       + moved.errorText());
        return result;
    }
    if (result.outputPath != wanted) {
        result.status = failure(ErrorKind::Exists, QStringLiteral("a file took the name \"%1\" meanwhile; the movie is saved as "
                                                                  "\"%2\" and the source is kept")
                                                       .arg(QFileInfo(wanted).fileName(), QFileInfo(result.outputPath).fileName()));
        return result;
    }
    result.sourceFate = disposeOf(result.source, deleteSource, place);
    return result;
}

} // namespace ItemWork
