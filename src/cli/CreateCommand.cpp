#include "app/AppCore.h"
#include "app/MovieListModel.h"
#include "base/ConversionProfile.h"
#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "cli/ImportRun.h"
#include "cli/MatchReport.h"
#include "creation/CreationBatch.h"
#include "creation/SavePlan.h"
#include "subtitles/SubtitlesFolder.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QHash>

namespace Commands {

namespace {

QJsonObject resultJson(const CreationResult &result)
{
    QJsonObject object{{QStringLiteral("source"), result.source},
                       {QStringLiteral("action"), result.action},
                       {QStringLiteral("outputPath"), result.outputPath},
                       {QStringLiteral("outcome"), result.succeeded() ? QStringLiteral("created") : QStringLiteral("failed")},
                       {QStringLiteral("movieTitle"), result.movieTitle}};
    if (!result.succeeded())
        object.insert(QStringLiteral("reason"), result.reason());
    object.insert(QStringLiteral("sourceFate"), result.sourceFate);
    object.insert(QStringLiteral("verdict"), result.verdict);
    object.insert(QStringLiteral("notes"), QJsonArray::fromStringList(result.notes));
    return object;
}

// One line per item on standard error: a result when it was created, an error when not.
void reportResults(const QList<CreationResult> &results)
{
    const QHash<QString, QString> verbs{{QStringLiteral("tag"), QStringLiteral("tagged")},
                                        {QStringLiteral("move"), QStringLiteral("moved")},
                                        {QStringLiteral("convert"), QStringLiteral("converted")}};
    const QString log = Diagnostics::logFile();
    for (const CreationResult &result : results) {
        const QString source = CliSupport::displayPath(result.source);
        if (!result.succeeded()) {
            Diagnostics::error(QStringLiteral("failed     ") + source + QStringLiteral(": ") + result.reason()
                               + (log.isEmpty() ? QString() : QStringLiteral(" (details in %1)").arg(log)));
            continue;
        }
        QString line = verbs.value(result.action, result.action).leftJustified(10) + QLatin1Char(' ') + source;
        if (result.outputPath != result.source)
            line += QStringLiteral(" -> ") + CliSupport::displayPath(result.outputPath);
        if (!result.sourceFate.isEmpty() && result.outputPath != result.source)
            line += QStringLiteral(" (the source: ") + result.sourceFate + QLatin1Char(')');
        // Only what needs a person's eye: what will not play, what was left out.
        if (!result.verdict.isEmpty() && result.verdict != QLatin1String("plays on Apple TV"))
            line += QStringLiteral("; ") + result.verdict;
        for (const QString &note : result.notes)
            line += QStringLiteral("; ") + note;
        Diagnostics::result(line);
    }
    if (CreationBatch::allSucceeded(results))
        Diagnostics::write(QStringLiteral("Movies Created Sucessfully!"));
}

void printJson(const SavePlan &plan, const QList<CreationResult> &results)
{
    QJsonArray resultArray;
    for (const CreationResult &result : results)
        resultArray.append(resultJson(result));
    CliSupport::printJson(QJsonObject{{QStringLiteral("items"), CliSupport::toJsonArray(plan.items)},
                                      {QStringLiteral("plan"), plan.toJson()},
                                      {QStringLiteral("results"), resultArray}});
}

/** The plan as a person reads it: the summary, then each movie with what happens to it. */
void printPlan(const SavePlan &plan)
{
    CliSupport::TextOut out;
    out << plan.summary() << "\n";
    for (qsizetype i = 0; i < plan.entries.size(); ++i) {
        const PlannedItem &planned = plan.entries.at(i);
        const QString source = CliSupport::displayPath(planned.source);
        out << "\n";
        if (!planned.runs()) {
            out << (planned.skipped ? "skip      " : "fails     ") << source << ": " << planned.problemText << "\n";
            continue;
        }
        const QString indent(10, QLatin1Char(' '));
        out << ConverterArguments::actionName(planned.action).leftJustified(10) << source;
        if (planned.finalPath != planned.source)
            out << " -> " << CliSupport::displayPath(planned.finalPath);
        out << "\n" << indent << "the source: " << SavePlanText::fateText(planned.sourceFate) << "\n";
        if (planned.renamed())
            out << indent << "renamed: " << planned.problemText << "\n";
        for (const PlannedStream &stream : planned.conversion.streams)
            out << indent << SavePlanText::streamText(stream) << "\n";
        for (const QString &note : planned.conversion.notes)
            out << indent << "note: " << note << "\n";
        QStringList tags;
        for (const PlannedTag &tag : planned.tags)
            tags.append(SavePlanText::tagText(tag, 40));
        out << indent << "tags: " << tags.join(QStringLiteral("; ")) << "\n";
        if (const QString match = MatchReport::line(plan.items.at(i)); !match.isEmpty())
            out << indent << match << "\n";
    }
}

/** Plans the Save of the imported list (waiting for the store genres) and returns the plan. */
SavePlan planAndWait(AppCore &core, const QString &destination, bool dryRun)
{
    if (dryRun)
        return core.planSave(destination, ClashPolicy::Fail, false, false);
    std::optional<SavePlan> plan;
    QEventLoop loop;
    core.prepareSave(destination, [&](const SavePlan &planned) {
        plan = planned;
        loop.quit();
    });
    if (!plan)
        loop.exec();
    return *plan;
}

QList<CreationResult> saveAndWait(AppCore &core, const SavePlan &plan)
{
    QList<CreationResult> results;
    QEventLoop loop;
    QObject::connect(&core, &AppCore::saveFinished, &loop, [&](const QList<CreationResult> &r) {
        results = r;
        loop.quit();
    });
    core.save(plan);
    loop.exec();
    return results;
}

} // namespace

int create(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parseFor(QStringLiteral("create"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (!parsed.values.contains(QStringLiteral("--dest")))
        return usageError(QStringLiteral("'create' needs --dest DIR"));
    if (parsed.positional.isEmpty())
        return usageError(QStringLiteral("'create' needs at least one FILE"));
    const QString destination = CliSupport::absolutePath(parsed.value(QStringLiteral("--dest")));
    if (!QFileInfo(destination).isDir())
        return usageError(QStringLiteral("--dest must name an existing folder: ") + parsed.value(QStringLiteral("--dest")));
    double stagger = 0.5;
    QString error;
    if (!ImportRun::applyOptions(parsed, &stagger, &error))
        return usageError(error);

    if (parsed.values.contains(QStringLiteral("--profile"))) {
        const std::optional<ConversionProfile> profile = ConversionProfiles::fromName(parsed.value(QStringLiteral("--profile")));
        if (!profile)
            return usageError(QStringLiteral("--profile takes classic or modern, not '%1'").arg(parsed.value(QStringLiteral("--profile"))));
        ConversionProfiles::setRunProfile(*profile);
    }

    const bool dryRun = parsed.has(QStringLiteral("--dry-run"));
    // A dry run touches no file: not the sources, not the destination, not the subtitles folder.
    SubtitlesFolder::setLookOnly(dryRun);
    AppCore core;
    if (parsed.has(QStringLiteral("--delete-sources")))
        core.setRunDeletesSources(true);
    const QStringList rejected = ImportRun::run(core, parsed.positional, stagger);
    const SavePlan plan = planAndWait(core, QDir::cleanPath(destination), dryRun);
    if (dryRun) {
        if (parsed.has(QStringLiteral("--json")))
            CliSupport::printJson(plan.toJson());
        else
            printPlan(plan);
        return rejected.isEmpty() && plan.countNotSaved() == 0 ? Success : SomeFailed;
    }
    const QList<CreationResult> results = saveAndWait(core, plan);
    reportResults(results);
    if (parsed.has(QStringLiteral("--json")))
        printJson(plan, results);
    return rejected.isEmpty() && CreationBatch::allSucceeded(results) ? Success : SomeFailed;
}

} // namespace Commands
