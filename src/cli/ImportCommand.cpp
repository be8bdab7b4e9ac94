#include "app/AppCore.h"
#include "app/MovieListModel.h"
#include "base/Diagnostics.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"
#include "cli/ImportRun.h"
#include "cli/MatchReport.h"

#include <QJsonArray>
#include <QTextStream>

namespace Commands {

namespace {

QString subtitleText(const MovieItem &item)
{
    if (!item.value(ItemKey::displaySubtitleBanner).toBool())
        return QStringLiteral("-");
    if (item.value(ItemKey::subtitleFound).toBool())
        return item.value(ItemKey::downloadedSubtitlePath).toString();
    const QString note = item.value(ItemKey::subtitleNote).toString();
    return note.isEmpty() ? QStringLiteral("not found") : QStringLiteral("none: ") + note;
}

void printText(const QList<MovieItem> &items)
{
    CliSupport::TextOut out;
    for (const MovieItem &item : items) {
        const QString title = item.value(ItemKey::movieTitle).toString();
        out << item.value(ItemKey::serialNumber).toLongLong() << "  " << item.value(ItemKey::fileName).toString() << "\n";
        const QString failure = item.value(ItemKey::lookupFailure).toString();
        if (title.isEmpty()) {
            out << (failure.isEmpty() ? QStringLiteral("    movie: not found\n")
                                      : QStringLiteral("    movie: lookup failed: ") + failure + QLatin1Char('\n'));
        } else {
            out << "    movie: " << title << " (" << item.value(ItemKey::movieReleaseYear).toString() << "), TMDb "
                << item.value(ItemKey::movieTMDBID).toLongLong() << "\n";
            out << "    genre: " << item.value(ItemKey::movieGenre).toString()
                << "   rating: " << CliSupport::ratingLabel(item.value(ItemKey::movieRating_US).toString()) << "\n";
            out << "    " << MatchReport::line(item) << "\n";
        }
        out << "    file: " << item.value(ItemKey::durationHuman).toString() << ", "
            << item.value(ItemKey::fileSize).toString() << ", video " << item.value(ItemKey::videoString).toString()
            << "\n";
        out << "    subtitle: " << subtitleText(item) << "\n";
    }
}

} // namespace

int import(const QStringList &arguments)
{
    const CliSupport::Arguments parsed =
        CliSupport::parseFor(QStringLiteral("import"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (parsed.positional.isEmpty())
        return usageError(QStringLiteral("'import' needs at least one FILE"));
    double stagger = 0.5;
    QString error;
    if (!ImportRun::applyOptions(parsed, &stagger, &error))
        return usageError(error);

    AppCore core;
    const QStringList rejected = ImportRun::run(core, parsed.positional, stagger);
    const QList<MovieItem> items = core.list()->items();

    if (parsed.has(QStringLiteral("--json"))) {
        CliSupport::printJson(CliSupport::toJsonArray(items));
    } else {
        printText(items);
    }
    return rejected.isEmpty() ? Success : SomeFailed;
}

} // namespace Commands
