#include "app/AppCore.h"

#include "app/ImportPipeline.h"
#include "app/MovieListModel.h"
#include "app/ServiceProblems.h"
#include "base/Diagnostics.h"
#include "creation/CreationBatch.h"
#include "base/LanguageList.h"
#include "base/Progress.h"
#include "base/SearchLanguage.h"
#include "base/ToolLocator.h"
#include "metadata/StoreGenre.h"
#include "base/UserSettings.h"
#include "base/ConversionProfile.h"

#include <QDir>
#include <QFutureWatcher>
#include <QLocale>
#include <QtConcurrent/QtConcurrentRun>
#include <QFileInfo>
#include <QSet>
#include <QSettings>

namespace {
const QString DeleteSourcesKey = QStringLiteral("deleteSourcesOutright");
} // namespace

AppCore::AppCore(QObject *parent)
    : QObject(parent)
    , m_list(new MovieListModel(this))
    , m_progress(new Progress(this))
    , m_importer(new ImportPipeline(m_list, m_progress, this))
    , m_batch(new CreationBatch(m_progress, this))
{
    m_importer->setPresetSource([this] { return m_conversionOption; });
    connect(m_batch, &CreationBatch::finished, this, &AppCore::saveFinished);
    connect(&ServiceProblems::instance(), &ServiceProblems::problem, this, &AppCore::serviceProblem);
    StoreGenre::setProblemListener([](const QString &message) { Q_EMIT ServiceProblems::instance().problem(message); });
    connect(m_importer, &ImportPipeline::finished, this, [this] {
        QSet<QString> listed;
        for (const MovieItem &item : m_list->items())
            listed.insert(item.value(ItemKey::filePath).toString());
        QStringList rejected;
        for (const QString &path : std::as_const(m_importedPaths)) {
            if (!listed.contains(path))
                rejected.append(path);
        }
        Q_EMIT importFinished(rejected);
    });
}

AppCore::~AppCore() = default;

void AppCore::applicationDidFinishLaunching()
{
    if (!UserSettings::conversionOption().has_value())
        UserSettings::storeConversionOption(Presets::Default);
    setConversionOption(UserSettings::preset());

    m_languages.clear();
    m_selectedLanguage = -1;
    const LanguageList list = LanguageList::load(m_languageListPath);
    switch (list.status()) {
    case LanguageList::Status::Missing:
        Diagnostics::write(QStringLiteral("Invalid filename/path."));
        return;
    case LanguageList::Status::Unreadable:
        Diagnostics::write(list.errorText());
        return;
    case LanguageList::Status::InvalidJson:
        Diagnostics::write(QStringLiteral("Could not get json from file, make sure that file contains valid json."));
        return;
    case LanguageList::Status::Loaded:
        break;
    }
    for (const QVariant &entry : list.entries())
        m_languages.append(entry.toMap());

    QVariantMap language = UserSettings::selectedSearchLanguage();
    if (language.isEmpty()) {
        Diagnostics::write(QStringLiteral("I am called the Only on the Very First Time"));
        language = SearchLanguage::defaultLanguage().toMap();
        UserSettings::storeSelectedSearchLanguage(language);
    }
    setSelectedLanguageIndex(int(list.indexOf(language)));
}

void AppCore::setSelectedLanguageIndex(int index)
{
    if (index < -1 || index >= int(m_languages.size()))
        index = -1;
    if (index == m_selectedLanguage)
        return;
    m_selectedLanguage = index;
    Q_EMIT selectedLanguageChanged(index);
}

void AppCore::setConversionOption(Preset preset)
{
    if (preset == m_conversionOption)
        return;
    m_conversionOption = preset;
    Q_EMIT conversionOptionChanged(preset);
}

void AppCore::saveSettings()
{
    // With an empty language list (the resource failed to load) only the preset is stored.
    if (m_selectedLanguage >= 0 && m_selectedLanguage < int(m_languages.size()))
        UserSettings::storeSelectedSearchLanguage(m_languages.at(m_selectedLanguage));
    UserSettings::storeConversionOption(m_conversionOption);
}

void AppCore::importFiles(const QList<QUrl> &urls)
{
    if (urls.isEmpty())
        return;
    m_importedPaths.clear();
    for (const QUrl &url : urls)
        m_importedPaths.append(url.isLocalFile() ? url.toLocalFile() : url.toString());
    const QString probe = ToolLocator::probeProgram();
    if (probe.isEmpty() || !QFileInfo(probe).isExecutable())
        Q_EMIT serviceProblem(QStringLiteral("ffprobe not found%1: install ffmpeg (or set KINOVELA_FFPROBE to the program). "
                                             "No file can be read without it.")
                                  .arg(probe.isEmpty() ? QString() : QStringLiteral(" at ") + probe));
    m_importer->importFiles(urls);
}

void AppCore::save(const QString &destinationFolder, ClashPolicy clashes)
{
    prepareSave(destinationFolder, [this, destinationFolder, clashes](const SavePlan &planned) {
        save(clashes == ClashPolicy::Fail ? planned : planSave(destinationFolder, clashes));
    });
}

void AppCore::prepareSave(const QString &destinationFolder, std::function<void(const SavePlan &)> planned)
{
    if (isSaving())
        return;
    const auto plan = [this, destinationFolder, planned] { planned(planSave(destinationFolder)); };
    if (ImportPipeline::storeAnswersPending() == 0) {
        plan();
        return;
    }
    // What is written is the final record: the store genres still on their way come first.
    m_waitingForStore = true;
    const quint64 wait = ++m_storeWait;
    m_progress->setTitle(QStringLiteral("Waiting for the store genres (%1 left)...").arg(ImportPipeline::storeAnswersPending()));
    m_progress->setValue(0);
    m_progress->begin(true);
    ImportPipeline::whenStoreAnswered(this, [this, wait, plan] {
        if (wait != m_storeWait || !m_waitingForStore)
            return;
        m_waitingForStore = false;
        m_progress->end();
        plan();
    });
}

SavePlan AppCore::planSave(const QString &destinationFolder, ClashPolicy clashes, bool skipNeedsReview, bool askTheDisk) const
{
    SaveSettings settings;
    settings.destination = QDir::cleanPath(destinationFolder);
    settings.preset = m_conversionOption;
    settings.options.clashes = clashes;
    settings.options.deleteSources = deletesSources();
    settings.options.profile = ConversionProfiles::current();
    settings.options.skipNeedsReview = skipNeedsReview;
    settings.subtitleLanguage = SearchLanguage::current().alpha3bOrEnglish();
    return SavePlan::check(m_list->items(), settings, askTheDisk);
}

void AppCore::save(const SavePlan &plan)
{
    if (!isSaving())
        m_batch->run(plan);
}

void AppCore::reportAllCancelled()
{
    // Nothing was written: every movie is reported cancelled.
    QList<CreationResult> results;
    for (const MovieItem &item : m_list->items()) {
        CreationResult result;
        result.source = item.value(ItemKey::filePath).toString();
        result.movieTitle = item.value(ItemKey::movieTitle).toString();
        result.status = failure(ErrorKind::Cancelled, QStringLiteral("cancelled"));
        result.sourceFate = QStringLiteral("kept where it was");
        results.append(result);
    }
    Q_EMIT saveFinished(results);
}

bool AppCore::deletesSources() const
{
    if (m_runDeletesSources)
        return *m_runDeletesSources;
    return QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).value(DeleteSourcesKey, false).toBool();
}

void AppCore::setDeletesSources(bool outright)
{
    QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).setValue(DeleteSourcesKey, outright);
}

void AppCore::cancelSave()
{
    if (m_waitingForStore) {
        m_waitingForStore = false;
        m_progress->end();
        reportAllCancelled();
        return;
    }
    m_batch->cancel();
}

QString AppCore::lastSaveText() const
{
    const Outcome<SaveJournal> journal = SaveJournal::last();
    if (!journal)
        return {};
    const qsizetype movies = journal->entries().size();
    return QStringLiteral("%1 into %2, %3")
        .arg(QLocale().toString(journal->started().toLocalTime(), QLocale::ShortFormat), journal->destination(),
             movies == 1 ? QStringLiteral("1 movie") : QStringLiteral("%1 movies").arg(movies));
}

void AppCore::undoLastSave()
{
    if (isSaving() || m_undoing)
        return;
    m_undoing = true;
    m_progress->setTitle(QStringLiteral("Undoing the last Save..."));
    m_progress->setValue(0);
    m_progress->begin(false);
    auto *watcher = new QFutureWatcher<UndoReport>(this);
    connect(watcher, &QFutureWatcher<UndoReport>::finished, this, [this, watcher] {
        const UndoReport report = watcher->result();
        watcher->deleteLater();
        m_undoing = false;
        m_progress->end();
        Q_EMIT undoFinished(report);
    });
    watcher->setFuture(QtConcurrent::run(&SaveUndo::undoLast));
}

bool AppCore::isSaving() const
{
    return m_waitingForStore || m_batch->isRunning();
}
