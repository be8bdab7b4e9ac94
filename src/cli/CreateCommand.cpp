#include "app/AppCore.h"
#include "app/MovieListModel.h"
#include "base/ConversionProfile.h"
#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "cli/ImportRun.h"
#include "creation/CreationBatch.h"

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

void printJson(const QList<MovieItem> &items, const QList<CreationResult> &results)
{
    QJsonArray resultArray;
    for (const CreationResult &result : results)
        resultArray.append(resultJson(result));
    CliSupport::printJson(QJsonObject{{QStringLiteral("items"), CliSupport::toJsonArray(items)}, {QStringLiteral("results"), resultArray}});
}

QList<CreationResult> saveAndWait(AppCore &core, const QString &destination)
{
    QList<CreationResult> results;
    QEventLoop loop;
    QObject::connect(&core, &AppCore::saveFinished, &loop, [&](const QList<CreationResult> &r) {
        results = r;
        loop.quit();
    });
    core.save(destination);
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

    AppCore core;
    if (parsed.has(QStringLiteral("--delete-sources")))
        core.setRunDeletesSources(true);
    const QStringList rejected = ImportRun::run(core, parsed.positional, stagger);
    const QList<MovieItem> items = core.list()->items();
    const QList<CreationResult> results = saveAndWait(core, QDir::cleanPath(destination));
    reportResults(results);
    if (parsed.has(QStringLiteral("--json")))
        printJson(items, results);
    return rejected.isEmpty() && CreationBatch::allSucceeded(results) ? Success : SomeFailed;
}

} // namespace Commands
