#include "creation/CreationBatch.h"

#include "base/Diagnostics.h"
#include "base/Progress.h"
#include "base/SearchLanguage.h"
#include "creation/ConverterArguments.h"
#include "creation/ConverterRunner.h"
#include "creation/FileMove.h"
#include "creation/Mp4TagSpace.h"
#include "creation/TagWriter.h"
#include "creation/WriteBehind.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

namespace {

QString describe(const QVariant &value)
{
    const QVariantList tracks = value.toList();
    QStringList parts;
    for (const QVariant &track : tracks) {
        const QVariantMap entry = track.toMap();
        parts.append(entry.value(TrackKey::trackID).toString() + QLatin1Char(':')
                     + entry.value(TrackKey::trackType).toString() + QLatin1Char('/')
                     + entry.value(TrackKey::trackCodec).toString());
    }
    return QLatin1Char('[') + parts.join(QStringLiteral(", ")) + QLatin1Char(']');
}

/**
 * The converted file is complete: its atoms add up to the file, the movie
 * header is there (the converter writes it last) and it holds the kinds of
 * tracks that were mapped.
 */
bool looksComplete(const QString &path, const QStringList &arguments)
{
    const QList<QByteArray> kinds = Mp4TagSpace::trackKinds(path);
    if (kinds.isEmpty())
        return false;
    if (arguments.contains(QStringLiteral("-c:v")) && !kinds.contains(Mp4Atom::VideoHandler))
        return false;
    return !arguments.contains(QStringLiteral("-c:a")) || kinds.contains(Mp4Atom::SoundHandler);
}

} // namespace

CreationBatch::CreationBatch(Progress *progress, QObject *parent)
    : QObject(parent)
    , m_progress(progress)
    , m_runner(new ConverterRunner(this))
    , m_writeBehind(new WriteBehind(this))
{
    connect(m_runner, &ConverterRunner::progressChanged, m_progress, &Progress::setValue);
}

CreationBatch::~CreationBatch() = default;

bool CreationBatch::allSucceeded(const QList<CreationResult> &results)
{
    for (const CreationResult &result : results) {
        if (!result.succeeded())
            return false;
    }
    return true;
}

void CreationBatch::creationTaskWithDestinationFolder(const QString &destinationFolder, const QList<MovieItem> &items,
                                                      Preset preset)
{
    if (m_running)
        return;
    m_running = true;
    m_cancelled = false;
    m_destination = destinationFolder;
    while (m_destination.size() > 1 && m_destination.endsWith(QLatin1Char('/')))
        m_destination.chop(1);
    m_items = items;
    m_option = preset;
    m_index = 0;
    m_results.clear();

    m_progress->setTitle(QStringLiteral("Creating Movie..."));
    m_progress->setValue(0);
    m_progress->begin(true);
    QTimer::singleShot(0, this, &CreationBatch::processNext);
}

void CreationBatch::cancel()
{
    if (!m_running)
        return;
    m_cancelled = true;
    m_runner->cancel();
}

void CreationBatch::processNext()
{
    if (m_cancelled || m_index >= m_items.size()) {
        finishBatch();
        return;
    }
    const MovieItem item = m_items.at(m_index);
    CreationResult result;
    result.source = item.value(ItemKey::filePath).toString();
    result.movieTitle = item.value(ItemKey::movieTitle).toString();
    Diagnostics::write(QStringLiteral("Creating movie from ") + result.source);

    const QString missing = ConverterArguments::missingKey(item);
    if (!missing.isEmpty()) {
        result.status = failure(ErrorKind::Invalid, QStringLiteral("the item has no \"%1\"").arg(missing));
        finishItem(result);
        return;
    }
    const QString finalPath = ConverterArguments::finalMoviePath(item, m_destination);
    m_progress->setTitle(QStringLiteral("Creating Movie : ") + result.movieTitle);
    const CreationAction action = ConverterArguments::creationActionForItem(item, m_option);
    result.action = ConverterArguments::actionName(action);

    if (action == CreationAction::Convert) {
        result.outputPath = finalPath;
        convert(item, result);
        return;
    }

    result.status = TagWriter::writeTagsWithFileAtPath(result.source, item);
    if (!result.status || action == CreationAction::TagInPlace) {
        if (result.status)
            result.outputPath = result.source;
        finishItem(result);
        return;
    }
    const Status moved = FileMove::moveFile(result.source, finalPath);
    if (!moved) {
        Diagnostics::write(QStringLiteral("Something went wrong while renaming: ") + moved.errorText());
        result.outputPath = result.source;
        result.status = failure(moved.errorKind(), QStringLiteral("tagged where it lies; could not move it: ") + moved.errorText());
        finishItem(result);
        return;
    }
    result.outputPath = finalPath;
    finishItem(result);
}

void CreationBatch::convert(const MovieItem &item, CreationResult result)
{
    if (!QFileInfo(result.source).isFile()) {
        result.status = failure(ErrorKind::Missing, QStringLiteral("the source file is missing"));
        finishItem(result);
        return;
    }
    if (!QFileInfo(m_destination).isDir()) {
        result.status = failure(ErrorKind::Missing, QStringLiteral("the destination folder does not exist: ") + m_destination);
        finishItem(result);
        return;
    }
    const QString temporaryPath = ConverterArguments::temporaryMoviePath(m_destination);
    const double duration = item.value(ItemKey::duration).toDouble();
    Diagnostics::write(describe(item.value(ItemKey::tracksInfo)));
    const QStringList arguments = ConverterArguments::converterArgumentsForItem(item, temporaryPath, SearchLanguage::current().alpha3bOrEnglish());
    Diagnostics::write(QLatin1Char('[') + arguments.join(QStringLiteral(", ")) + QLatin1Char(']'));

    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(m_runner, &ConverterRunner::finished, this,
                          [this, connection, item, result, temporaryPath, arguments](const Status &status) {
                              disconnect(*connection);
                              m_writeBehind->stop();
                              if (status && !looksComplete(temporaryPath, arguments))
                                  converted(item, result, temporaryPath,
                                            failure(ErrorKind::Invalid, QStringLiteral("the converter left no readable movie")));
                              else
                                  converted(item, result, temporaryPath, status);
                          });
    m_writeBehind->start(temporaryPath);
    m_runner->terminalProcessWithTerminalArgs(arguments, duration, m_index, int(m_items.size()));
}

void CreationBatch::converted(const MovieItem &item, CreationResult result, const QString &temporaryPath,
                              const Status &status)
{
    if (!status) {
        QFile::remove(temporaryPath);
        result.status = status;
        Diagnostics::write(QStringLiteral("Not created (the source is kept): ") + result.source + QStringLiteral(" -> ")
                           + status.errorText());
        finishItem(result);
        return;
    }
    // A scratch file: it is thrown away on any failure, so it is flushed once, whole, before the source goes.
    result.status = TagWriter::writeTagsWithFileAtPath(temporaryPath, item, Mp4TagSpace::Durability::Scratch);
    if (result.status && !FileMove::syncFile(temporaryPath))
        result.status = failure(ErrorKind::Io, QStringLiteral("the converted movie could not be flushed to the disk"));
    if (!result.status) {
        QFile::remove(temporaryPath);
        finishItem(result);
        return;
    }
    if (const Status moved = FileMove::moveFile(temporaryPath, result.outputPath); !moved) {
        Diagnostics::write(QStringLiteral("Something went wrong while renaming: ") + moved.errorText());
        result.status = failure(moved.errorKind(), QStringLiteral("the converted movie is kept as %1 (the source is kept): %2")
                                                       .arg(temporaryPath, moved.errorText()));
        result.outputPath = temporaryPath;
        finishItem(result);
        return;
    }
    QFile source(result.source);
    if (!source.remove())
        Diagnostics::write(QStringLiteral("Something went wrong while deleing old file: ") + source.errorString());
    else
        (void)FileMove::syncFolder(QFileInfo(result.source).absolutePath());
    finishItem(result);
}

void CreationBatch::finishItem(const CreationResult &result)
{
    m_results.append(result);
    ++m_index;
    QTimer::singleShot(0, this, &CreationBatch::processNext);
}

void CreationBatch::finishBatch()
{
    if (m_cancelled) {
        for (qsizetype i = m_results.size(); i < m_items.size(); ++i) {
            CreationResult skipped;
            skipped.source = m_items.at(i).value(ItemKey::filePath).toString();
            skipped.movieTitle = m_items.at(i).value(ItemKey::movieTitle).toString();
            skipped.status = failure(ErrorKind::Cancelled, QStringLiteral("cancelled"));
            m_results.append(skipped);
        }
    }
    m_running = false;
    m_progress->end();
    Q_EMIT finished(m_results);
}
