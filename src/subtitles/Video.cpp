#include "subtitles/Video.h"

#include "base/ServiceConfig.h"
#include "base/Diagnostics.h"
#include "subtitles/FileHash.h"
#include "subtitles/SubtitleCheck.h"
#include "subtitles/SubtitleProvider.h"
#include "subtitles/SubtitlesFolder.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>
#include <QSaveFile>
#include <QTimer>

#include <QSet>

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
    if (SubtitlesFolder::lookOnly()) {
        subStatus = SubtitleStauts::found;
        downloadedSubtitlePath = subtitle->path;
        return;
    }
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

Status Video::saveChecked(const QByteArray &content, const QString &claimedFormat, qint64 fileID)
{
    const Outcome<SubtitleCheck::Checked> checked = SubtitleCheck::check(content, claimedFormat, movieDurationInSeconds);
    if (!checked) {
        statusText = QStringLiteral("Subtitle %1 turned away: %2").arg(fileID).arg(checked.errorText());
        Diagnostics::write(statusText + QStringLiteral(" (") + path + QLatin1Char(')'));
        return failure(ErrorKind::Invalid, statusText);
    }
    const QString target = Subtitle::pathFor(path, SubtitleCheck::extension(checked->format));
    save(checked->utf8, SubtitleCheck::extension(checked->format));
    if (subStatus != SubtitleStauts::found) {
        statusText = QStringLiteral("The subtitle could not be written to ") + target;
        Diagnostics::write(statusText);
        return failure(ErrorKind::Io, statusText);
    }
    statusText.clear();
    return {};
}

namespace {

/** One run of the automatic search: candidates by hash, then by IMDb number, each checked before it counts. */
class SubtitleStage : public std::enable_shared_from_this<SubtitleStage>
{
public:
    SubtitleStage(const Video &video, std::shared_ptr<SubtitleProvider> provider, QObject *context, Video::Completion completion)
        : m_video(video), m_provider(std::move(provider)), m_context(context), m_completion(std::move(completion))
    {
    }

    void start()
    {
        m_provider->logIn([self = shared_from_this()](const Status &loggedIn) {
            if (!loggedIn) {
                self->m_video.statusText = loggedIn.errorText();
                self->finish(SubtitleStauts::notSearched);
                return;
            }
            self->searchByHash();
        });
    }

    void finish(SubtitleStauts status)
    {
        m_video.subStatus = status;
        if (status == SubtitleStauts::notFound && m_video.statusText.isEmpty())
            m_video.statusText = QStringLiteral("No subtitle found for this movie");
        if (m_context)
            m_completion(m_video);
    }

private:
    void searchByHash()
    {
        const FileHash::VideoHash hash = FileHash::getVideoHashForPath(m_video.path);
        m_provider->searchSubtitleByHash(FileHash::hashText(hash.fileHash), double(hash.fileSize),
                                         [self = shared_from_this()](const SubtitleChoices &choices) {
                                             self->tryChoices(self->listOf(choices), 0, [self] { self->searchByImdb(); });
                                         });
    }

    void searchByImdb()
    {
        m_provider->searchSubtitleByIMDB(m_video.imdbID, m_video.movieDurationInSeconds,
                                         [self = shared_from_this()](const SubtitleChoices &choices) {
                                             self->tryChoices(self->listOf(choices), 0,
                                                              [self] { self->finish(SubtitleStauts::notFound); });
                                         });
    }

    QList<SubtitleChoice> listOf(const SubtitleChoices &choices)
    {
        if (!choices)
            m_video.statusText = choices.errorText();
        return choices ? *choices : QList<SubtitleChoice>();
    }

    void tryChoices(const QList<SubtitleChoice> &choices, qsizetype index, std::function<void()> otherwise)
    {
        while (index < choices.size() && m_tried.contains(choices.at(index).fileID))
            ++index;
        if (index >= choices.size() || m_tried.size() >= Video::MaxDownloadsPerMovie) {
            otherwise();
            return;
        }
        const SubtitleChoice choice = choices.at(index);
        m_tried.insert(choice.fileID);
        m_provider->downloadSubtitle(choice.fileID, [self = shared_from_this(), choices, index, otherwise,
                                                     choice](const Outcome<QByteArray> &content) {
            if (!content) {
                self->m_video.statusText = content.errorText();
                // The download limit or the rate limit: asking for the next candidate would be refused too.
                if (content.errorKind() == ErrorKind::Refused) {
                    self->finish(SubtitleStauts::notSearched);
                    return;
                }
            } else if (const Status saved = self->m_video.saveChecked(*content, choice.format, choice.fileID); saved) {
                self->finish(SubtitleStauts::found);
                return;
            } else if (saved.errorKind() == ErrorKind::Io) {
                self->finish(self->m_video.subStatus.value_or(SubtitleStauts::notSearched));
                return;
            }
            self->tryChoices(choices, index + 1, otherwise);
        });
    }

    Video m_video;
    std::shared_ptr<SubtitleProvider> m_provider;
    QPointer<QObject> m_context;
    Video::Completion m_completion;
    QSet<qint64> m_tried;
};

// Answers on the next turn of the event loop, as the services do.
void answerLater(QObject *context, Video::Completion completion, const Video &video)
{
    QPointer<QObject> guard(context);
    QMetaObject::invokeMethod(QCoreApplication::instance(), [guard, completion, video] {
        if (guard)
            completion(video);
    }, Qt::QueuedConnection);
}

} // namespace

void Video::searchAndDownloadSubtitle(QObject *context, Completion completion) const
{
    if (SubtitlesFolder::prepare().isEmpty()) {
        // No subtitles folder (no HOME): nothing is searched.
        Video unsearched(*this);
        unsearched.subStatus = SubtitleStauts::notSearched;
        const QString folder = ServiceConfig::subtitlesFolder();
        unsearched.statusText = folder.isEmpty() ? QStringLiteral("No subtitles folder: HOME is not set")
                                                 : QStringLiteral("The subtitles folder %1 could not be written").arg(folder);
        Diagnostics::write(unsearched.statusText);
        answerLater(context, std::move(completion), unsearched);
        return;
    }
    const Outcome<std::shared_ptr<SubtitleProvider>> provider = SubtitleProvider::create();
    if (!provider) {
        Video unsearched(*this);
        unsearched.subStatus = SubtitleStauts::notSearched;
        unsearched.statusText = provider.errorText();
        Diagnostics::write(provider.errorText());
        answerLater(context, std::move(completion), unsearched);
        return;
    }
    std::make_shared<SubtitleStage>(*this, *provider, context, std::move(completion))->start();
}

void Video::downloadSubtitleWithFileID(const QString &fileID, const QString &ext, QObject *context,
                                       Completion completion) const
{
    auto video = std::make_shared<Video>(*this);
    bool ok = false;
    const qint64 id = fileID.toLongLong(&ok, 10);
    const Outcome<std::shared_ptr<SubtitleProvider>> created = SubtitleProvider::create();
    if (!created || !ok) {
        video->statusText = created ? QStringLiteral("Not a subtitle file id: ") + fileID : created.errorText();
        answerLater(context, std::move(completion), *video);
        return;
    }
    QPointer<QObject> guard(context);
    auto finish = [video, guard, completion] {
        if (guard)
            completion(*video);
    };
    std::shared_ptr<SubtitleProvider> provider = *created;
    provider->logIn([video, provider, finish, id, ext](const Status &loggedIn) {
        if (!loggedIn) {
            video->statusText = loggedIn.errorText();
            finish();
            return;
        }
        provider->downloadSubtitle(id, [video, finish, ext, id](const Outcome<QByteArray> &content) {
            if (content)
                (void)video->saveChecked(*content, ext, id);
            else
                video->statusText = content.errorText();
            finish();
        });
    });
}

void Video::getSubtitleList(const QString &imdbID, QObject *context,
                            std::function<void(const QList<SubtitleCandidate> &)> completion)
{
    QPointer<QObject> guard(context);
    const Outcome<std::shared_ptr<SubtitleProvider>> created = SubtitleProvider::create();
    if (!created) {
        Diagnostics::write(created.errorText());
        QMetaObject::invokeMethod(QCoreApplication::instance(), [guard, completion] {
            if (guard)
                completion({});
        }, Qt::QueuedConnection);
        return;
    }
    std::shared_ptr<SubtitleProvider> provider = *created;
    provider->logIn([provider, imdbID, guard, completion](const Status &) {
        provider->searchSubtitleList(imdbID, [provider, guard, completion](const QList<SubtitleCandidate> &records) {
            if (guard)
                completion(records);
        });
    });
}
