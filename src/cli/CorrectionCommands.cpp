#include "app/Corrections.h"
#include "app/MovieLookup.h"
#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

namespace Commands {

namespace {

/** The movie TMDb has under @p tmdbID, waiting for the answer. */
Outcome<MovieItem> lookUp(qint64 tmdbID)
{
    std::optional<Outcome<MovieItem>> found;
    QEventLoop loop;
    MovieLookup::movieById(tmdbID, [&](const Outcome<MovieItem> &movie) {
        found = movie;
        loop.quit();
    });
    if (!found)
        loop.exec();
    return *found;
}

QString described(const QString &title, const QString &year, qint64 tmdbID)
{
    return QStringLiteral("%1 (%2), TMDb %3").arg(title, year.isEmpty() ? QStringLiteral("no year") : year).arg(tmdbID);
}

} // namespace

int choose(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parseFor(QStringLiteral("choose"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    bool ok = false;
    const qint64 tmdbID = parsed.value(QStringLiteral("--tmdb")).toLongLong(&ok);
    if (!ok || tmdbID < 1)
        return usageError(QStringLiteral("'choose' needs --tmdb ID, a TMDb movie id such as 603"));
    if (parsed.positional.size() != 1)
        return usageError(QStringLiteral("'choose' needs exactly one FILE"));
    const QString given = parsed.positional.constFirst();
    const QString path = CliSupport::absolutePath(given);
    if (!QFileInfo(path).isFile())
        return usageError(given + QStringLiteral(" is not a file"));
    if (Corrections::keyOf(path).isEmpty()) {
        Diagnostics::error(given + QStringLiteral(": cannot be remembered: it is not readable or shorter than 64 KiB"));
        return SomeFailed;
    }

    const Outcome<MovieItem> movie = lookUp(tmdbID);
    if (!movie) {
        Diagnostics::error(given + QStringLiteral(": ") + movie.errorText());
        return SomeFailed;
    }
    const QString title = movie->value(ItemKey::movieTitle).toString();
    const QString year = movie->value(ItemKey::movieReleaseYear).toString();
    if (const Outcome<void> remembered = Corrections::rememberMovie(path, tmdbID, title, year); !remembered) {
        Diagnostics::error(given + QStringLiteral(": ") + remembered.errorText());
        return SomeFailed;
    }
    if (parsed.has(QStringLiteral("--json"))) {
        CliSupport::printJson(QJsonObject{{QStringLiteral("file"), given},
                                          {QStringLiteral("movieTMDBID"), double(tmdbID)},
                                          {QStringLiteral("movieTitle"), title},
                                          {QStringLiteral("movieReleaseYear"), year}});
    } else {
        QTextStream(stdout) << given << ": " << described(title, year, tmdbID) << ", remembered\n";
    }
    return Success;
}

int forget(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parseFor(QStringLiteral("forget"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (parsed.positional.isEmpty())
        return usageError(QStringLiteral("'forget' needs at least one FILE"));

    const bool json = parsed.has(QStringLiteral("--json"));
    QTextStream out(stdout);
    QJsonArray array;
    bool allDone = true;
    for (const QString &given : parsed.positional) {
        const QString path = CliSupport::absolutePath(given);
        const std::optional<Corrections::Memory> memory = Corrections::recall(Corrections::keyOf(path));
        const Outcome<bool> forgotten = Corrections::forget(path);
        if (!forgotten) {
            allDone = false;
            Diagnostics::error(given + QStringLiteral(": ") + forgotten.errorText());
            continue;
        }
        if (json) {
            array.append(QJsonObject{{QStringLiteral("file"), given}, {QStringLiteral("forgotten"), *forgotten}});
        } else if (!*forgotten) {
            out << given << ": nothing was remembered\n";
        } else if (memory && memory->tmdbID > 0) {
            out << given << ": forgot " << described(memory->title, memory->year, memory->tmdbID) << "\n";
        } else {
            out << given << ": forgotten\n";
        }
    }
    if (json)
        CliSupport::printJson(array);
    return allDone ? Success : SomeFailed;
}

} // namespace Commands
