#include "cli/ImportRun.h"

#include "cli/MatchReport.h"

#include "base/Diagnostics.h"

#include "app/AppCore.h"
#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "base/AnswerCache.h"
#include "base/Progress.h"
#include "base/UserSettings.h"

#include <QEventLoop>
#include <QSet>

#include <cmath>

namespace ImportRun {

bool applyOptions(const CliSupport::Arguments &arguments, double *stagger, QString *error)
{
    if (arguments.values.contains(QStringLiteral("--preset"))
        && !CliSupport::applyPreset(arguments.value(QStringLiteral("--preset")), error))
        return false;
    if (arguments.values.contains(QStringLiteral("--language"))
        && !CliSupport::applyLanguage(arguments.value(QStringLiteral("--language")), error))
        return false;
    AnswerCache::refresh(arguments.has(QStringLiteral("--refresh")));
    *stagger = 0.5;
    if (arguments.values.contains(QStringLiteral("--stagger"))) {
        const QString text = arguments.value(QStringLiteral("--stagger"));
        bool ok = false;
        const double value = text.toDouble(&ok);
        if (!ok || !std::isfinite(value) || value < 0 || value > 3600) {
            *error = QStringLiteral("--stagger takes a number of seconds from 0 to 3600, not '%1'").arg(text);
            return false;
        }
        *stagger = value;
    }
    return true;
}

QStringList run(AppCore &core, const QStringList &files, double stagger)
{
    core.applicationDidFinishLaunching();
    CliSupport::showProgressOnTerminal(core.progress());

    QList<QUrl> urls;
    for (const QString &file : files)
        urls.append(QUrl::fromLocalFile(CliSupport::absolutePath(file)));

    QStringList rejected;
    if (urls.isEmpty())
        return rejected;

    QEventLoop loop;
    QObject::connect(core.importer(), &ImportPipeline::finished, &loop, &QEventLoop::quit);
    QObject::connect(core.importer(), &ImportPipeline::subtitleQuotaShort, &loop,
                     [](const QString &warning) { Diagnostics::warn(warning); });
    // A service that could not be used at all (a refused key, no answer, a throttle) is said once, as a warning.
    QObject::connect(&core, &AppCore::serviceProblem, &core, [](const QString &problem) { Diagnostics::warn(problem); });
    core.importer()->setStagger(stagger);
    core.importFiles(urls);
    if (core.importer()->isRunning())
        loop.exec();
    // What is printed is final: the store genres still on their way are waited for.
    if (ImportPipeline::storeAnswersPending() > 0) {
        core.progress()->setTitle(
            QStringLiteral("Waiting for the store genres (%1 left)").arg(ImportPipeline::storeAnswersPending()));
        QEventLoop store;
        ImportPipeline::whenStoreAnswered(&store, [&store] { store.quit(); });
        store.exec();
    }

    QSet<qint64> listed;
    for (const MovieItem &item : core.list()->items()) {
        listed.insert(item.value(ItemKey::serialNumber).toLongLong());
        MatchReport::warnIfNeedsReview(item.value(ItemKey::fileName).toString(), item);
    }
    for (int i = 0; i < files.size(); ++i) {
        if (!listed.contains(i)) {
            rejected.append(files.at(i));
            Diagnostics::error(files.at(i) + QStringLiteral(": not a movie file (skipped)"));
        }
    }
    return rejected;
}

} // namespace ImportRun
