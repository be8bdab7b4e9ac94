#include "app/AppCore.h"
#include "app/MovieListModel.h"
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
#include <QTextStream>

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
    return object;
}

void printResults(const QList<MovieItem> &items, const QList<CreationResult> &results, bool json)
{
    if (json) {
        QJsonArray resultArray;
        for (const CreationResult &result : results)
            resultArray.append(resultJson(result));
        CliSupport::printJson(QJsonObject{{QStringLiteral("items"), CliSupport::toJsonArray(items)}, {QStringLiteral("results"), resultArray}});
        return;
    }
    QTextStream out(stdout);
    for (const CreationResult &result : results)
        out << (result.succeeded() ? "created  " : "FAILED   ") << result.action << "  " << result.source << " -> "
            << result.outputPath << (result.succeeded() ? QString() : QStringLiteral("  (") + result.reason() + QLatin1Char(')'))
            << "\n         the source: " << result.sourceFate << "\n";
    if (CreationBatch::allSucceeded(results))
        out << "Movies Created Sucessfully!\n";
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
    const CliSupport::Arguments parsed = CliSupport::parse(arguments, {QStringLiteral("--json"), QStringLiteral("--delete-sources")},
                                                           ImportRun::valueOptions() << QStringLiteral("--dest"));
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

    AppCore core;
    if (parsed.has(QStringLiteral("--delete-sources")))
        core.setRunDeletesSources(true);
    const QStringList rejected = ImportRun::run(core, parsed.positional, stagger);
    const QList<MovieItem> items = core.list()->items();
    const QList<CreationResult> results = saveAndWait(core, QDir::cleanPath(destination));
    for (const CreationResult &result : results) {
        if (!result.succeeded())
            Diagnostics::write(QStringLiteral("Failed: ") + result.source + QStringLiteral(" -> ") + result.reason());
    }
    printResults(items, results, parsed.has(QStringLiteral("--json")));
    return rejected.isEmpty() && CreationBatch::allSucceeded(results) ? Success : SomeFailed;
}

} // namespace Commands
