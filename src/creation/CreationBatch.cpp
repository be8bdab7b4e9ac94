#include "creation/CreationBatch.h"

#include "base/Diagnostics.h"
#include "base/Progress.h"
#include "base/SearchLanguage.h"
#include "creation/ConverterArguments.h"
#include "creation/ConverterRunner.h"
#include "creation/StreamPlan.h"
#include "creation/FileMove.h"
#include "creation/Mp4TagSpace.h"
#include "creation/WriteBehind.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

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

} // namespace

CreationBatch::CreationBatch(Progress *progress, QObject *parent)
    : QObject(parent)
    , m_progress(progress)
    , m_runner(new ConverterRunner(this))
    , m_writeBehind(new WriteBehind(this))
{
    connect(m_runner, &ConverterRunner::progressChanged, m_progress, &Progress::setValue);
    connect(&m_fileWork, &QFutureWatcher<CreationResult>::finished, this, [this] { finishItem(m_fileWork.result()); });
}

CreationBatch::~CreationBatch()
{
    // File work in flight finishes: a tagging or a move is never cut off in the middle.
    m_fileWork.waitForFinished();
}

bool CreationBatch::allSucceeded(const QList<CreationResult> &results)
{
    for (const CreationResult &result : results) {
        if (!result.succeeded())
            return false;
    }
    return true;
}

void CreationBatch::creationTaskWithDestinationFolder(const QString &destinationFolder, const QList<MovieItem> &items,
                                                      Preset preset, const SaveOptions &options)
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
    m_options = options;
    m_plan = SavePlan::check(m_items, m_destination, preset, options.clashes);
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
    const PlannedItem planned = m_plan.at(m_index);
    CreationResult result;
    result.source = item.value(ItemKey::filePath).toString();
    result.movieTitle = item.value(ItemKey::movieTitle).toString();
    result.action = ConverterArguments::actionName(planned.action);
    result.sourceFate = QStringLiteral("kept where it was");
    Diagnostics::write(QStringLiteral("Creating movie from ") + result.source);

    const QString missing = ConverterArguments::missingKey(item);
    if (!missing.isEmpty())
        result.status = failure(ErrorKind::Invalid, QStringLiteral("the item has no \"%1\"").arg(missing));
    else if (planned.skipped)
        result.status = failure(ErrorKind::Cancelled, QStringLiteral("skipped: ") + planned.problemText);
    else if (planned.problem != SaveProblem::None && !(planned.clashes() && m_options.clashes == ClashPolicy::Rename))
        result.status = failure(planned.clashes() ? ErrorKind::Exists : ErrorKind::Failed, planned.problemText);
    if (!result.status) {
        finishItem(result);
        return;
    }
    const QString shownTitle = result.movieTitle.isEmpty() ? QFileInfo(planned.finalPath).completeBaseName() : result.movieTitle;
    m_progress->setTitle(QStringLiteral("Creating Movie : ") + shownTitle);
    if (planned.action == CreationAction::Convert) {
        result.outputPath = planned.finalPath;
        convert(item, result);
        return;
    }
    runFileWork([item, planned, result] { return ItemWork::tagAndMove(item, planned, result); });
}

void CreationBatch::runFileWork(std::function<CreationResult()> work)
{
    m_fileWork.setFuture(QtConcurrent::run(std::move(work)));
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
    const QString temporaryPath = ConverterArguments::temporaryMoviePath(result.outputPath);
    const double duration = item.value(ItemKey::duration).toDouble();
    Diagnostics::write(describe(item.value(ItemKey::tracksInfo)));
    const ConversionPlan plan = StreamPlan::forItem(item, m_options.profile, temporaryPath,
                                                    SearchLanguage::current().alpha3bOrEnglish());
    const QStringList &arguments = plan.arguments;
    Diagnostics::write(QLatin1Char('[') + arguments.join(QStringLiteral(", ")) + QLatin1Char(']'));

    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(m_runner, &ConverterRunner::finished, this,
                          [this, connection, item, result, temporaryPath, plan](const Status &status) {
                              disconnect(*connection);
                              m_writeBehind->stop();
                              converted(item, result, temporaryPath, plan, status);
                          });
    m_writeBehind->start(temporaryPath);
    m_runner->terminalProcessWithTerminalArgs(arguments, duration, m_index, int(m_items.size()));
}

void CreationBatch::converted(const MovieItem &item, CreationResult result, const QString &temporaryPath,
                              const ConversionPlan &plan, const Status &status)
{
    if (!status) {
        QFile::remove(temporaryPath);
        result.status = status;
        Diagnostics::write(QStringLiteral("Not created (the source is kept): ") + result.source + QStringLiteral(" -> ")
                           + status.errorText());
        finishItem(result);
        return;
    }
    const bool deleteSource = m_options.deleteSources;
    runFileWork([item, result, temporaryPath, plan, deleteSource] {
        return ItemWork::finishConversion(item, result, temporaryPath, plan, deleteSource);
    });
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
            skipped.sourceFate = QStringLiteral("kept where it was");
            m_results.append(skipped);
        }
    }
    m_running = false;
    m_progress->end();
    Q_EMIT finished(m_results);
}
