#include "app/AppCore.h"
#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"

#include <QEventLoop>

namespace Commands {

int undo(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parseFor(QStringLiteral("undo"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (!parsed.positional.isEmpty())
        return usageError(QStringLiteral("'undo' takes no FILE: it undoes the last Save"));

    AppCore core;
    CliSupport::showProgressOnTerminal(core.progress());
    UndoReport report;
    QEventLoop loop;
    QObject::connect(&core, &AppCore::undoFinished, &loop, [&](const UndoReport &done) {
        report = done;
        loop.quit();
    });
    core.undoLastSave();
    loop.exec();

    if (!report.status) {
        Diagnostics::error(report.summary());
    } else {
        for (const UndoneMovie &movie : std::as_const(report.movies)) {
            const QString source = CliSupport::displayPath(movie.source);
            if (movie.left.isEmpty() || !movie.undone.isEmpty())
                Diagnostics::result(QStringLiteral("undone     ") + source + QStringLiteral(": ")
                                    + (movie.undone.isEmpty() ? QStringLiteral("nothing had changed")
                                                              : movie.undone.join(QStringLiteral("; "))));
            if (!movie.left.isEmpty())
                Diagnostics::error(QStringLiteral("left       ") + source + QStringLiteral(": ") + movie.left.join(QStringLiteral("; ")));
        }
        Diagnostics::result(report.summary());
    }
    if (parsed.has(QStringLiteral("--json")))
        CliSupport::printJson(report.toJson());
    return report.complete() ? Success : SomeFailed;
}

} // namespace Commands
