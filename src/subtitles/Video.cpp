#include "subtitles/Video.h"

#include "base/ServiceConfig.h"
#include "subtitles/FileHash.h"
#include "subtitles/SubtitleProvider.h"
#include "subtitles/SubtitlesFolder.h"

#include <QFile>
#include <QPointer>
#include <QSaveFile>
#include <QTimer>

#include <memory>

namespace {

QString withoutExtension(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    return dot > slash ? path.left(dot) : path;
}

QString lastComponent(const QString &path)
{
    return path.section(QLatin1Char('/'), -1);
}

// An extension from the network becomes part of a file name: keep it to a plain word.
QString safeExtension(const QString &ext)
{
    QString clean;
    for (const QChar c : ext) {
        if (c.isLetterOrNumber() && c.unicode() < 128)
            clean.append(c.toLower());
    }
    return clean.left(8).isEmpty() ? QStringLiteral("srt") : clean.left(8);
}

} // namespace

Subtitle::Subtitle(const QString &videoPath, const QString &ext)
    : path(pathFor(videoPath, ext))
    , ext(ext)
    , videoPath(videoPath)
{
}

QString Subtitle::pathFor(const QString &videoPath, const QString &ext)
{
    const QString name = lastComponent(withoutExtension(videoPath) + QLatin1Char('.') + ext);
    return ServiceConfig::subtitlesFolder() + QLatin1Char('/') + name;
}

QUrl Subtitle::presentedItemURL() const
{
    return QUrl::fromLocalFile(pathFor(path, ext));
}

QUrl Subtitle::primaryPresentedItemURL() const
{
    return QUrl::fromLocalFile(videoPath);
}

Video::Video(const QString &path, const QString &imdbID, double movieDurationInSeconds)
    : path(path)
    , imdbID(imdbID)
    , movieDurationInSeconds(movieDurationInSeconds)
{
}

QString Video::getMovieHashString() const
{
    return FileHash::hashText(FileHash::getVideoHashForPath(path).fileHash);
}

void Video::save(const QByteArray &content, const QString &ext)
{
    if (content.isEmpty())
        return;
    if (SubtitlesFolder::prepare().isEmpty()) {
        subStatus = SubtitleStauts::notSearched;
        return;
    }
    subtitle = Subtitle(path, safeExtension(ext));
    // A file of the user's own with that name is never replaced.
    subtitle->path = SubtitlesFolder::freePath(subtitle->path);
    QSaveFile file(subtitle->path);
    bool saved = false;
    if (file.open(QIODevice::WriteOnly)) {
        file.write(content);
        saved = file.commit();
    }
    if (saved)
        SubtitlesFolder::recordSaved(subtitle->path);
    if (saved && QFile::exists(subtitle->path)) {
        subStatus = SubtitleStauts::found;
        downloadedSubtitlePath = subtitle->path;
    }
}

void Video::searchAndDownloadSubtitle(QObject *context, Completion completion) const
{
    auto video = std::make_shared<Video>(*this);
    auto provider = SubtitleProvider::create();
    QPointer<QObject> guard(context);
    auto finish = [video, guard, completion] {
        if (guard)
            completion(*video);
    };
    if (SubtitlesFolder::prepare().isEmpty()) {
        // No subtitles folder (no HOME): nothing is searched.
        video->subStatus = SubtitleStauts::notSearched;
        QTimer::singleShot(0, finish);
        return;
    }
    auto downloadAndSave = [video, provider, finish](const SubtitleChoice &choice) {
        provider->downloadSubtitle(choice.fileID, [video, finish, choice](const QByteArray &content) {
            video->save(content, choice.format);
            finish();
        });
    };
    provider->logIn([video, provider, finish, downloadAndSave](bool loggedIn) {
        if (!loggedIn) {
            video->subStatus = SubtitleStauts::notSearched;
            finish();
            return;
        }
        const FileHash::VideoHash hash = FileHash::getVideoHashForPath(video->path);
        provider->searchSubtitleByHash(
            FileHash::hashText(hash.fileHash), double(hash.fileSize),
            [video, provider, finish, downloadAndSave](std::optional<SubtitleChoice> byHash) {
                if (byHash) {
                    downloadAndSave(*byHash);
                    return;
                }
                provider->searchSubtitleByIMDB(video->imdbID, video->movieDurationInSeconds,
                                               [video, finish, downloadAndSave](std::optional<SubtitleChoice> byImdb) {
                                                   if (!byImdb) {
                                                       video->subStatus = SubtitleStauts::notFound;
                                                       finish();
                                                       return;
                                                   }
                                                   downloadAndSave(*byImdb);
                                               });
            });
    });
}

void Video::downloadSubtitleWithFileID(const QString &fileID, const QString &ext, QObject *context,
                                       Completion completion) const
{
    auto video = std::make_shared<Video>(*this);
    QPointer<QObject> guard(context);
    auto finish = [video, guard, completion] {
        if (guard)
            completion(*video);
    };
    bool ok = false;
    const qint64 id = fileID.toLongLong(&ok, 10);
    auto provider = SubtitleProvider::create();
    provider->logIn([video, provider, finish, id, ok, ext](bool loggedIn) {
        if (!loggedIn || !ok) {
            finish();
            return;
        }
        provider->downloadSubtitle(id, [video, finish, ext](const QByteArray &content) {
            video->save(content, ext);
            finish();
        });
    });
}

void Video::getSubtitleList(const QString &imdbID, QObject *context,
                            std::function<void(const QList<SubtitleCandidate> &)> completion)
{
    QPointer<QObject> guard(context);
    auto provider = SubtitleProvider::create();
    provider->logIn([provider, imdbID, guard, completion](bool) {
        provider->searchSubtitleList(imdbID, [provider, guard, completion](const QList<SubtitleCandidate> &records) {
            if (guard)
                completion(records);
        });
    });
}
