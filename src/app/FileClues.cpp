#include "app/FileClues.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// An .nfo is a few kilobytes of XML or a line with an address; anything much bigger is something else.
constexpr qint64 MaxNfoBytes = 1024 * 1024;

NameClues::Identifier identifierInNfoFile(const QString &path)
{
    QFile file(path);
    if (file.size() > MaxNfoBytes || !file.open(QIODevice::ReadOnly))
        return {};
    return NameClues::identifierInNfo(QString::fromUtf8(file.readAll()));
}

/** The .nfo files that may describe the file: one with its own name, then "movie.nfo" of its folder. */
QStringList nfoFilesBeside(const QFileInfo &file)
{
    const QDir folder = file.absoluteDir();
    const QStringList present = folder.entryList({QStringLiteral("*.nfo")}, QDir::Files | QDir::Readable);
    QStringList found;
    const QStringList wantedNames{QString(file.completeBaseName() + QStringLiteral(".nfo")), QStringLiteral("movie.nfo")};
    for (const QString &wanted : wantedNames) {
        // Matched without regard to case, as the players that write them do.
        for (const QString &name : present) {
            if (name.compare(wanted, Qt::CaseInsensitive) == 0 && !found.contains(folder.filePath(name)))
                found.append(folder.filePath(name));
        }
    }
    return found;
}

} // namespace

FileClues FileClues::forName(const QString &movieName)
{
    FileClues clues;
    clues.movieName = movieName;
    clues.year = NameClues::yearIn(movieName);
    clues.identifier = NameClues::identifierIn(movieName);
    if (!clues.identifier.isEmpty())
        clues.identifierPlace = QStringLiteral("in the file name");
    return clues;
}

FileClues FileClues::forFile(const QString &path)
{
    const QFileInfo file(path);
    FileClues clues = forName(file.completeBaseName());
    const QString folderName = file.absoluteDir().dirName();
    if (clues.year == 0)
        clues.year = NameClues::yearIn(folderName);
    if (clues.identifier.isEmpty()) {
        clues.identifier = NameClues::identifierIn(folderName);
        if (!clues.identifier.isEmpty())
            clues.identifierPlace = QStringLiteral("in the folder name");
    }
    for (const QString &nfo : nfoFilesBeside(file)) {
        if (!clues.identifier.isEmpty())
            break;
        clues.identifier = identifierInNfoFile(nfo);
        if (!clues.identifier.isEmpty())
            clues.identifierPlace = QStringLiteral("in ") + QFileInfo(nfo).fileName();
    }
    clues.fileKey = Corrections::keyOf(path);
    clues.memory = Corrections::recall(clues.fileKey);
    return clues;
}
