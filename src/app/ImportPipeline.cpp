#include "app/ImportPipeline.h"

#include "app/FileClues.h"
#include "app/MovieListModel.h"
#include "app/MovieLookup.h"
#include "base/Progress.h"
#include "base/UserSettings.h"
#include "media/FileProbe.h"
#include "media/MovieItemFacts.h"
#include "subtitles/SubtitleCredentials.h"
#include "subtitles/SubtitleQuota.h"
#include "subtitles/SubtitlesFolder.h"

#include <QFutureWatcher>
#include <QItemSelectionModel>
#include <QPointer>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <cmath>
#include <memory>

ImportPipeline::ImportPipeline(MovieListModel *list, Progress *progress, QObject *parent)
    : QObject(parent)
    , m_list(list)
    , m_progress(progress)
{
    // A selection the import did not make is the user's: nothing the import does afterwards moves it.
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        if (!m_selecting)
            m_userSelected = true;
    });
}

ImportPipeline::~ImportPipeline() = default;

void ImportPipeline::setStagger(double seconds)
{
    m_stagger = std::isfinite(seconds) && seconds > 0 ? seconds : 0;
}

void ImportPipeline::setPresetSource(std::function<Preset()> source)
{
    m_presetSource = std::move(source);
}

Preset ImportPipeline::currentPreset() const
{
    if (m_presetSource)
        return m_presetSource();
    return UserSettings::preset();
}

void ImportPipeline::resetSubtitlesFolder()
{
    SubtitlesFolder::removeOwnFiles();
    (void)SubtitlesFolder::prepare();
}

QString ImportPipeline::subtitleQuotaWarning(int fileCount, Preset preset)
{
    if (!Presets::fetchesSubtitles(preset) || SubtitleCredentials::provider() != SubtitleCredentials::Provider::Rest)
        return {};
    const std::optional<SubtitleQuota> quota = SubtitleQuota::current();
    if (!quota || quota->remaining >= fileCount)
        return {};
    return QStringLiteral("This import may need %1 subtitle downloads, but OpenSubtitles allows only %2 more "
                          "(%3); subtitles already downloaded once are taken from the cache.")
        .arg(fileCount)
        .arg(std::max(quota->remaining, 0))
        .arg(quota->remainingText());
}

void ImportPipeline::importFiles(const QList<QUrl> &urls)
{
    if (urls.isEmpty())
        return;
    if (const QString warning = subtitleQuotaWarning(int(urls.size()), currentPreset()); !warning.isEmpty())
        Q_EMIT subtitleQuotaShort(warning);
    resetSubtitlesFolder();
    gatherInfoToDisplayWithURLs(urls);
}

void ImportPipeline::gatherInfoToDisplayWithURLs(const QList<QUrl> &urls)
{
    if (urls.isEmpty())
        return;

    // Whatever an earlier import still has outstanding is abandoned.
    const quint64 generation = ++m_generation;
    m_outstanding = int(urls.size());

    m_progress->setValue(0);
    m_progress->begin(false);
    m_selecting = true;
    m_list->clear();
    m_selecting = false;
    m_userSelected = false;
    m_lateGenres.clear();
    m_progress->setTitle(QStringLiteral("Gathering Info..."));

    const int count = int(urls.size());
    for (int i = 0; i < count; ++i) {
        const QUrl url = urls.at(i);
        const int delayMs = int(std::lround(i * m_stagger * 1000.0));
        QTimer::singleShot(delayMs, this, [this, generation, i, count, url] { probeFile(generation, i, count, url); });
    }
}

namespace {

/** What the worker learns of one file: the probe and, for a movie file, the clues to its identity. */
struct ProbedFile
{
    std::shared_ptr<FileProbe> probe;
    FileClues clues;
};

} // namespace

void ImportPipeline::probeFile(quint64 generation, int index, int count, const QUrl &url)
{
    if (generation != m_generation)
        return;
    const QString path = url.isLocalFile() ? url.toLocalFile() : url.toString();
    auto *watcher = new QFutureWatcher<ProbedFile>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, generation, index, count] {
        const ProbedFile file = watcher->result();
        watcher->deleteLater();
        probed(generation, index, count, *file.probe, file.clues);
    });
    watcher->setFuture(QtConcurrent::run([path] {
        ProbedFile file{std::make_shared<FileProbe>(path), FileClues()};
        if (file.probe->isAcceptable())
            file.clues = FileClues::forFile(path);
        return file;
    }));
}

void ImportPipeline::probed(quint64 generation, int index, int count, const FileProbe &probe, const FileClues &clues)
{
    if (generation != m_generation)
        return;
    if (!probe.isAcceptable()) {
        finishFile(generation, index, count, nullptr);
        return;
    }
    runOnlineStages(generation, index, count, MovieItemFacts::fromProbe(probe, index), clues);
}

void ImportPipeline::runOnlineStages(quint64 generation, int index, int count, MovieItem item, FileClues clues)
{
    // The lookup takes the name exactly as the list shows it.
    clues.movieName = item.value(ItemKey::fileString).toString();
    clues.durationSeconds = item.value(ItemKey::duration).toDouble();
    QPointer<ImportPipeline> self(this);
    MovieLookup::identify(
        clues,
        [self, generation, index, count, item](const MovieItem &record) {
            if (self)
                self->lookedUp(generation, index, count, item, record);
        },
        [self, generation, index](const MovieItem &genre) {
            if (self)
                self->storeGenreArrived(generation, index, genre);
        });
}

void ImportPipeline::storeGenreArrived(quint64 generation, int index, const MovieItem &genre)
{
    if (generation != m_generation)
        return;
    const int row = m_list->rowOfSerialNumber(index);
    if (row < 0) {
        // Still fetching its subtitle: the genre goes in when the item is listed.
        m_lateGenres.insert(index, genre);
        return;
    }
    MovieItem item = m_list->itemAt(row);
    // A person who changed the genre, or chose another movie, meanwhile keeps what they chose.
    if (item.value(ItemKey::movieGenre) != item.value(ItemKey::tmdbGenre)
        || item.value(ItemKey::movieTMDBID) != genre.value(ItemKey::movieTMDBID))
        return;
    for (auto it = genre.cbegin(); it != genre.cend(); ++it)
        item.insert(it.key(), it.value());
    m_list->updateItem(item);
}

void ImportPipeline::whenStoreAnswered(QObject *context, std::function<void()> done)
{
    MovieLookup::whenStoreAnswered(context, std::move(done));
}

int ImportPipeline::storeAnswersPending()
{
    return MovieLookup::storeAnswersPending();
}

void ImportPipeline::lookedUp(quint64 generation, int index, int count, MovieItem item, const MovieItem &record)
{
    if (generation != m_generation)
        return;

    const Preset preset = currentPreset();
    const QString title = record.value(ItemKey::movieTitle).toString();
    if (title.isEmpty())
        m_progress->setTitle(QStringLiteral("Gathering Info : ") + item.value(ItemKey::fileName).toString());
    else if (Presets::fetchesSubtitles(preset))
        m_progress->setTitle(QStringLiteral("Downloading Subtitles : ") + title);
    else
        m_progress->setTitle(QStringLiteral("Downloading Metadata Information : ") + title);
    m_progress->setValue(double(index) / double(count) * 100.0);

    for (auto it = record.cbegin(); it != record.cend(); ++it)
        item.insert(it.key(), it.value());

    if (!Presets::fetchesSubtitles(preset)) {
        item.insert(ItemKey::subtitleFound, false);
        item.insert(ItemKey::displaySubtitleBanner, false);
        finishFile(generation, index, count, &item);
        return;
    }

    MovieLookup::fetchSubtitle(item, this, [this, generation, index, count](MovieItem withSubtitle) {
        if (generation != m_generation)
            return;
        withSubtitle.insert(ItemKey::displaySubtitleBanner, true);
        finishFile(generation, index, count, &withSubtitle);
    });
}

void ImportPipeline::finishFile(quint64 generation, int index, int count, const MovieItem *item)
{
    if (generation != m_generation)
        return;
    Q_UNUSED(count);
    m_selecting = true;
    if (item) {
        MovieItem listed = *item;
        const MovieItem genre = m_lateGenres.take(index);
        for (auto it = genre.cbegin(); it != genre.cend(); ++it)
            listed.insert(it.key(), it.value());
        m_list->append(listed);
        m_list->arrange();
    }
    // The progress ends when every file is done, whatever order they finish in.
    const bool last = --m_outstanding == 0;
    if (last && !m_userSelected)
        m_list->selectLastRow();
    m_selecting = false;
    if (last) {
        m_progress->end();
        Q_EMIT finished();
    }
}
