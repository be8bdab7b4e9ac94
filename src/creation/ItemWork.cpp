#include "creation/ItemWork.h"

#include "base/Diagnostics.h"
#include "creation/FileMove.h"
#include "creation/TrackFlags.h"
#include "creation/FileNames.h"
#include "creation/Mp4TagSpace.h"
#include "creation/OutputCheck.h"
#include "creation/TagWriter.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QDir>

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

} // namespace

CreationResult tagAndMove(const MovieItem &item, const PlannedItem &planned, CreationResult result)
{
    result.status = TagWriter::writeTagsWithFileAtPath(result.source, item);
    result.sourceFate = QStringLiteral("kept where it was");
    if (!result.status || planned.action == CreationAction::TagInPlace || planned.finalPath == result.source) {
        if (result.status) {
            result.outputPath = result.source;
            result.sourceFate = QStringLiteral("tagged where it was");
            result.verdict = OutputCheck::check(result.outputPath, nullptr).text();
        }
        return result;
    }
    if (const Status moved = FileMove::moveFile(result.source, planned.finalPath); !moved) {
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

/** Creates the home Trash when it is missing, as the freedesktop.org Trash rules allow. */
void prepareHomeTrash()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (!data.isEmpty()) {
        QDir().mkpath(data + QStringLiteral("/Trash/files"));
        QDir().mkpath(data + QStringLiteral("/Trash/info"));
    }
}

QString disposeOf(const QString &path, bool deleteOutright)
{
    const QString folder = QFileInfo(path).absolutePath();
    if (deleteOutright) {
        QFile source(path);
        if (!source.remove())
            return QStringLiteral("kept (it could not be deleted: %1)").arg(source.errorString());
        (void)FileMove::syncFolder(folder);
        return QStringLiteral("deleted");
    }
    const QString noTrash = QStringLiteral("kept (there is no Trash for it on its disk)");
    prepareHomeTrash();
    QString inTrash;
    if (!QFile::moveToTrash(path, &inTrash))
        return noTrash;
    if (QDir::isRelativePath(inTrash)) {
        // Qt found no Trash folder and used the working folder's "files" instead: put the movie back.
        const QString name = QFileInfo(inTrash).fileName();
        QFile::rename(QFileInfo(inTrash).absoluteFilePath(), path);
        QFile::remove(QFileInfo(QStringLiteral("info/") + name + QStringLiteral(".trashinfo")).absoluteFilePath());
        return noTrash;
    }
    (void)FileMove::syncFolder(folder);
    return QStringLiteral("moved to the Trash: ") + inTrash;
}

CreationResult finishConversion(const MovieItem &item, CreationResult result, const QString &temporaryPath,
                                const ConversionPlan &plan, bool deleteSource)
{
    result.sourceFate = QStringLiteral("kept where it was");
    result.notes = plan.notes;
    setSubtitleFlags(temporaryPath, plan, result.notes);
    // A scratch file: it is thrown away on any failure, so it is flushed once, whole, before the source goes.
    result.status = TagWriter::writeTagsWithFileAtPath(temporaryPath, item, Mp4TagSpace::Durability::Scratch);
    if (result.status)
        result.status = checkOutput(temporaryPath, plan.arguments, item.value(ItemKey::duration).toDouble());
    if (result.status) {
        const OutputCheck::Verdict verdict = OutputCheck::check(temporaryPath, &plan);
        result.status = verdict.status;
        result.verdict = verdict.text();
    }
    if (result.status && !FileMove::syncFile(temporaryPath))
        result.status = failure(ErrorKind::Io, QStringLiteral("the converted movie could not be flushed to the disk"));
    if (!result.status) {
        QFile::remove(temporaryPath);
        result.status = failure(result.status.errorKind(), result.status.errorText() + QStringLiteral(" (the source is kept)"));
        return result;
    }
    const QString wanted = result.outputPath;
    if (const Status moved = moveToFreeName(temporaryPath, result.outputPath); !moved) {
        QFile::remove(temporaryPath);
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
    result.sourceFate = disposeOf(result.source, deleteSource);
    return result;
}

} // namespace ItemWork
