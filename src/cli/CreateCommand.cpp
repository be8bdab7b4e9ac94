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

int create(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parse(arguments, {QStringLiteral("--json")},
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
    const QStringList rejected = ImportRun::run(core, parsed.positional, stagger);
    for (const QString &file : rejected)
        Diagnostics::write(QStringLiteral("Not a movie file (skipped): ") + file);
    const QList<MovieItem> items = core.list()->items();

    CreationBatch batch(core.progress());
    QList<CreationResult> results;
    QEventLoop loop;
    QObject::connect(&batch, &CreationBatch::finished, &loop, [&](const QList<CreationResult> &r) {
        results = r;
        loop.quit();
    });
    batch.creationTaskWithDestinationFolder(QDir::cleanPath(destination), items, core.conversionOption());
    loop.exec();

    for (const CreationResult &result : std::as_const(results)) {
        if (!result.succeeded())
            Diagnostics::write(QStringLiteral("Failed: ") + result.source + QStringLiteral(" -> ") + result.reason());
    }
    if (parsed.has(QStringLiteral("--json"))) {
        QJsonArray itemArray;
        for (const MovieItem &item : items)
            itemArray.append(CliSupport::toJson(item));
        QJsonArray resultArray;
        for (const CreationResult &result : std::as_const(results)) {
            QJsonObject object{{QStringLiteral("source"), result.source},
                               {QStringLiteral("action"), result.action},
                               {QStringLiteral("outputPath"), result.outputPath},
                               {QStringLiteral("outcome"), result.succeeded() ? QStringLiteral("created") : QStringLiteral("failed")},
                               {QStringLiteral("movieTitle"), result.movieTitle}};
            if (!result.succeeded())
                object.insert(QStringLiteral("reason"), result.reason());
            resultArray.append(object);
        }
        CliSupport::printJson(QJsonObject{{QStringLiteral("items"), itemArray}, {QStringLiteral("results"), resultArray}});
    } else {
        QTextStream out(stdout);
        for (const CreationResult &result : std::as_const(results))
            out << (result.succeeded() ? "created  " : "FAILED   ") << result.action << "  " << result.source << " -> "
                << result.outputPath << (result.succeeded() ? QString() : QStringLiteral("  (") + result.reason() + QLatin1Char(')'))
                << "\n";
        if (CreationBatch::allSucceeded(results))
            out << "Movies Created Sucessfully!\n";
    }
    return rejected.isEmpty() && CreationBatch::allSucceeded(results) ? Success : SomeFailed;
}

} // namespace Commands
