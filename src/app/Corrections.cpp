#include "app/Corrections.h"

#include "base/Diagnostics.h"
#include "subtitles/FileHash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QSaveFile>
#include <QStandardPaths>

#include <functional>

namespace Corrections {
namespace {

// Members of one file's entry.
const QString TmdbID = QStringLiteral("tmdbID");
const QString Title = QStringLiteral("title");
const QString Year = QStringLiteral("year");
const QString SubtitleFileID = QStringLiteral("subtitleFileID");
const QString SubtitleLanguage = QStringLiteral("subtitleLanguage");
const QString Path = QStringLiteral("path");
const QString Size = QStringLiteral("size");
const QString Files = QStringLiteral("files");

QJsonObject readStore()
{
    QFile file(storePath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        // Kept aside rather than overwritten, so nothing a person might want is lost.
        const QString aside = storePath() + QStringLiteral(".unreadable");
        QFile::remove(aside);
        QFile::copy(storePath(), aside);
        Diagnostics::warn(QStringLiteral("%1 could not be read (%2); it was kept as %3 and the remembered choices start "
                                         "afresh")
                              .arg(storePath(), error.errorString(), aside));
        return {};
    }
    return document.object()[Files].toObject();
}

Outcome<void> writeStore(const QJsonObject &files)
{
    QSaveFile file(storePath());
    if (!file.open(QIODevice::WriteOnly))
        return failure(ErrorKind::Io, QStringLiteral("cannot write %1: %2").arg(storePath(), file.errorString()));
    file.write(QJsonDocument(QJsonObject{{QStringLiteral("version"), 1}, {Files, files}}).toJson());
    if (!file.commit())
        return failure(ErrorKind::Io, QStringLiteral("cannot write %1: %2").arg(storePath(), file.errorString()));
    return {};
}

/** Reads, changes and writes the store under its lock. */
Outcome<void> change(const std::function<void(QJsonObject &files)> &edit)
{
    const QString folder = QFileInfo(storePath()).absolutePath();
    if (!QDir().mkpath(folder))
        return failure(ErrorKind::Io, QStringLiteral("cannot make the folder %1").arg(folder));
    QLockFile lock(storePath() + QStringLiteral(".lock"));
    if (!lock.tryLock(5000))
        return failure(ErrorKind::Failed, QStringLiteral("%1 is locked by another Kinovela").arg(storePath()));
    QJsonObject files = readStore();
    edit(files);
    return writeStore(files);
}

/** The key of the file, or the failure that says why it cannot be remembered. */
Outcome<QString> keyFor(const QString &path)
{
    const QString key = keyOf(path);
    if (key.isEmpty())
        return failure(ErrorKind::Invalid,
                       QStringLiteral("%1 cannot be remembered: it is not readable or shorter than 64 KiB").arg(path));
    return key;
}

/** Changes the entry of the file at @p path (made when missing), noting where the file is now. */
Outcome<void> changeEntry(const QString &path, const std::function<void(QJsonObject &entry)> &edit)
{
    const Outcome<QString> key = keyFor(path);
    if (!key)
        return key.error();
    const QFileInfo file(path);
    return change([&](QJsonObject &files) {
        QJsonObject entry = files[*key].toObject();
        edit(entry);
        entry.insert(Path, file.absoluteFilePath());
        entry.insert(Size, file.size());
        files.insert(*key, entry);
    });
}

} // namespace

QString storePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/corrections.json");
}

QString keyOf(const QString &path)
{
    const FileHash::VideoHash hash = FileHash::getVideoHashForPath(path);
    return hash.fileSize == 0 ? QString() : FileHash::hashText(hash.fileHash);
}

std::optional<Memory> recall(const QString &key)
{
    if (key.isEmpty())
        return std::nullopt;
    const QJsonObject files = readStore();
    if (!files.contains(key))
        return std::nullopt;
    const QJsonObject entry = files[key].toObject();
    return Memory{entry[TmdbID].toInteger(),           entry[Title].toString(),
                  entry[Year].toString(),              entry[SubtitleFileID].toInteger(),
                  entry[SubtitleLanguage].toString(),  entry[Path].toString()};
}

Outcome<void> rememberMovie(const QString &path, qint64 tmdbID, const QString &title, const QString &year)
{
    return changeEntry(path, [&](QJsonObject &entry) {
        if (entry[TmdbID].toInteger() != tmdbID) {
            entry.remove(SubtitleFileID);
            entry.remove(SubtitleLanguage);
        }
        entry.insert(TmdbID, tmdbID);
        entry.insert(Title, title);
        entry.insert(Year, year);
    });
}

Outcome<void> rememberSubtitle(const QString &path, qint64 fileID, const QString &language)
{
    return changeEntry(path, [&](QJsonObject &entry) {
        entry.insert(SubtitleFileID, fileID);
        entry.insert(SubtitleLanguage, language);
    });
}

Outcome<bool> forget(const QString &path)
{
    const QString key = keyOf(path);
    const QString absolute = QFileInfo(path).absoluteFilePath();
    bool found = false;
    const Outcome<void> changed = change([&](QJsonObject &files) {
        if (!key.isEmpty()) {
            found = files.contains(key);
            files.remove(key);
            return;
        }
        // A file that is gone is known by the path it had.
        for (const QString &other : files.keys()) {
            if (files[other].toObject()[Path].toString() == absolute) {
                files.remove(other);
                found = true;
            }
        }
    });
    if (!changed)
        return changed.error();
    return found;
}

} // namespace Corrections
