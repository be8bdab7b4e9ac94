#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "app/MovieLookup.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QTextStream>

namespace Commands {

int search(const QStringList &arguments)
{
    const CliSupport::Arguments parsed =
        CliSupport::parseFor(QStringLiteral("search"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (parsed.positional.size() != 1)
        return usageError(QStringLiteral("'search' needs exactly one TEXT (quote it when it has spaces)"));
    QString error;
    if (parsed.values.contains(QStringLiteral("--language"))
        && !CliSupport::applyLanguage(parsed.value(QStringLiteral("--language")), &error))
        return usageError(error);

    QList<MovieItem> candidates;
    bool done = false;
    QEventLoop loop;
    MovieLookup::searchCandidates(parsed.positional.constFirst(), [&](const QList<MovieItem> &records) {
        candidates = records;
        done = true;
        loop.quit();
    });
    if (!done)
        loop.exec();

    if (parsed.has(QStringLiteral("--json"))) {
        CliSupport::printJson(CliSupport::toJsonArray(candidates));
    } else {
        CliSupport::TextOut out;
        for (const MovieItem &record : std::as_const(candidates))
            out << record.value(ItemKey::movieTMDBID).toLongLong() << "  " << record.value(ItemKey::movieTitle).toString()
                << "  " << record.value(ItemKey::movieReleaseDate_BEAUTIFIED).toString() << "\n";
    }
    return Success;
}

} // namespace Commands
