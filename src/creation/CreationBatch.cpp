#include "creation/CreationBatch.h"

#include "base/Diagnostics.h"
#include "base/Progress.h"
#include "base/SearchLanguage.h"
#include "creation/ConverterArguments.h"
#include "creation/ConverterRunner.h"
#include "creation/StreamPlan.h"
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
    SaveSettings settings;
    settings.destination = QDir::cleanPath(destinationFolder);
    settings.preset = preset;
    settings.options = options;
    settings.subtitleLanguage = SearchLanguage::current().alpha3bOrEnglish();
    run(SavePlan::check(items, settings));
}

void CreationBatch::run(const SavePlan &plan)
{
    if (m_running)
        return;
    m_running = true;
    m_cancelled = false;
    m_plan = plan;
    m_journal = SaveJournal::start(plan);
    if (!m_journal.enabled())
        Diagnostics::warn(QStringLiteral("There is no data folder (XDG_DATA_HOME or HOME): this Save cannot be undone."));
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

namespace {

ErrorKind kindOf(SaveProblem problem)
{
    switch (problem) {
    case SaveProblem::NameTaken:
    case SaveProblem::NameClash: return ErrorKind::Exists;
    case SaveProblem::SourceMissing: return ErrorKind::Missing;
    case SaveProblem::Incomplete: return ErrorKind::Invalid;
    case SaveProblem::NoRoom: return ErrorKind::NoSpace;
    default: return ErrorKind::Failed;
    }
}

} // namespace

void CreationBatch::processNext()
{
    if (m_cancelled || m_index >= m_plan.entries.size()) {
        finishBatch();
        return;
    }
    const PlannedItem &planned = m_plan.entries.at(m_index);
    CreationResult result;
    result.source = planned.source;
    result.movieTitle = planned.movieTitle;
    result.action = ConverterArguments::actionName(planned.action);
    result.sourceFate = QStringLiteral("kept where it was");
    Diagnostics::write(QStringLiteral("Creating movie from ") + result.source);

    if (planned.skipped)
        result.status = failure(ErrorKind::Cancelled, QStringLiteral("skipped: ") + planned.problemText);
    else if (!planned.runs())
        result.status = failure(kindOf(planned.problem), planned.problemText);
    if (!result.status) {
        finishItem(result);
        return;
    }
    const QString shownTitle = result.movieTitle.isEmpty() ? QFileInfo(planned.finalPath).completeBaseName() : result.movieTitle;
    m_progress->setTitle(QStringLiteral("Creating Movie : ") + shownTitle);
    m_place = {};
    if (m_journal.enabled())
        m_place = {&m_journal, m_journal.addEntry(planned), -1};
    if (planned.action == CreationAction::Convert) {
        result.outputPath = planned.finalPath;
        convert(planned, m_plan.items.at(m_index).value(ItemKey::duration).toDouble(), result);
        return;
    }
    runFileWork([planned, result, place = m_place] { return ItemWork::tagAndMove(planned, result, place); });
}

void CreationBatch::runFileWork(std::function<CreationResult()> work)
{
    m_fileWork.setFuture(QtConcurrent::run(std::move(work)));
}

void CreationBatch::convert(const PlannedItem &planned, double duration, CreationResult result)
{
    if (!QFileInfo(result.source).isFile()) {
        result.status = failure(ErrorKind::Missing, QStringLiteral("the source file is missing"));
        finishItem(result);
        return;
    }
    const QString folder = QFileInfo(planned.finalPath).path();
    if (!QFileInfo(folder).isDir()) {
        result.status = failure(ErrorKind::Missing, QStringLiteral("the destination folder does not exist: ") + folder);
        finishItem(result);
        return;
    }
    // The converter's output is written down first: an undo after a crash removes what it left.
    JournalStep unfinished;
    unfinished.kind = JournalStep::Kind::Unfinished;
    unfinished.path = planned.temporaryPath;
    const Outcome<int> recorded = ItemWork::recordBefore(m_place, unfinished);
    if (!recorded) {
        result.status = failure(recorded.errorKind(), QStringLiteral("nothing was done, because the Save's journal could not be "
                                                                     "written: ") + recorded.errorText());
        finishItem(result);
        return;
    }
    m_place.unfinishedStep = *recorded;
    Diagnostics::write(describe(m_plan.items.at(m_index).value(ItemKey::tracksInfo)));
    const QStringList &arguments = planned.conversion.arguments;
    Diagnostics::write(QLatin1Char('[') + arguments.join(QStringLiteral(", ")) + QLatin1Char(']'));

    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(m_runner, &ConverterRunner::finished, this,
                          [this, connection, planned, duration, result](const Status &status) {
                              disconnect(*connection);
                              m_writeBehind->stop();
                              converted(planned, duration, result, status);
                          });
    m_writeBehind->start(planned.temporaryPath);
    m_runner->terminalProcessWithTerminalArgs(arguments, duration, m_index, int(m_plan.entries.size()));
}

void CreationBatch::converted(const PlannedItem &planned, double duration, CreationResult result, const Status &status)
{
    if (!status) {
        QFile::remove(planned.temporaryPath);
        ItemWork::recordAfter(m_place, m_place.unfinishedStep, true);
        result.status = status;
        Diagnostics::write(QStringLiteral("Not created (the source is kept): ") + result.source + QStringLiteral(" -> ")
                           + status.errorText());
        finishItem(result);
        return;
    }
    const bool deleteSource = planned.sourceFate == SourceFate::Deleted;
    runFileWork([planned, duration, result, deleteSource, place = m_place] {
        return ItemWork::finishConversion(planned, duration, result, deleteSource, place);
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
        for (qsizetype i = m_results.size(); i < m_plan.entries.size(); ++i) {
            CreationResult skipped;
            skipped.source = m_plan.entries.at(i).source;
            skipped.movieTitle = m_plan.entries.at(i).movieTitle;
            skipped.status = failure(ErrorKind::Cancelled, QStringLiteral("cancelled"));
            skipped.sourceFate = QStringLiteral("kept where it was");
            m_results.append(skipped);
        }
    }
    if (const Status finished = m_journal.finish(SaveJournal::State::Finished); !finished)
        Diagnostics::write(finished.errorText());
    m_running = false;
    m_progress->end();
    Q_EMIT finished(m_results);
}
