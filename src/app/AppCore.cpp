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

#include <QSettings>

namespace {
const QString DeleteSourcesKey = QStringLiteral("deleteSourcesOutright");
} // namespace
#include <QFileInfo>
#include <QSet>

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

void AppCore::save(const QString &destinationFolder)
{
    save(destinationFolder, ClashPolicy::Fail);
}

void AppCore::save(const QString &destinationFolder, ClashPolicy clashes)
{
    if (m_waitingForStore)
        return;
    if (ImportPipeline::storeAnswersPending() > 0) {
        // What is written is the final record: the store genres still on their way come first.
        m_waitingForStore = true;
        const quint64 wait = ++m_storeWait;
        m_progress->setTitle(QStringLiteral("Waiting for the store genres (%1 left)...")
                                 .arg(ImportPipeline::storeAnswersPending()));
        m_progress->setValue(0);
        m_progress->begin(true);
        ImportPipeline::whenStoreAnswered(this, [this, wait, destinationFolder, clashes] {
            if (wait != m_storeWait || !m_waitingForStore)
                return;
            m_waitingForStore = false;
            m_progress->end();
            startBatch(destinationFolder, clashes);
        });
        m_waitDestination = destinationFolder;
        m_waitClashes = clashes;
        return;
    }
    startBatch(destinationFolder, clashes);
}

void AppCore::startBatch(const QString &destinationFolder, ClashPolicy clashes)
{
    SaveOptions options;
    options.clashes = clashes;
    options.deleteSources = deletesSources();
    options.profile = ConversionProfiles::current();
    m_batch->creationTaskWithDestinationFolder(destinationFolder, m_list->items(), m_conversionOption, options);
}

QList<PlannedItem> AppCore::checkSave(const QString &destinationFolder) const
{
    return SavePlan::check(m_list->items(), destinationFolder, m_conversionOption);
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
        // Nothing was written yet: the batch starts only to report every movie as cancelled.
        m_waitingForStore = false;
        m_progress->end();
        startBatch(m_waitDestination, m_waitClashes);
    }
    m_batch->cancel();
}

bool AppCore::isSaving() const
{
    return m_waitingForStore || m_batch->isRunning();
}
