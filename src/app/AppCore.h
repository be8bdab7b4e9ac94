#pragma once

#include "base/MovieItemKeys.h"
#include "base/Preset.h"
#include "creation/CreationBatch.h"
#include "creation/SaveUndo.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <optional>

class CreationBatch;
class ImportPipeline;
class MovieListModel;
class Progress;

/**
 * The application's central object and the front door for long work: owns
 * the main list, the import pipeline, the creation batch (Save), the shared
 * progress object and the live conversion preset, and runs the launch
 * sequence (stored preset, language list, stored search language). The
 * window and the command line tool both drive it and wire nothing of their
 * own between these parts.
 */
class AppCore : public QObject
{
    Q_OBJECT
public:
    explicit AppCore(QObject *parent = nullptr);
    ~AppCore() override;

    /**
     * Stores preset 3 when none is stored, takes the stored preset as the live
     * one, loads the language list and selects the stored language (storing
     * the English default on the very first start).
     */
    void applicationDidFinishLaunching();
    /** Reads the language list from `path` instead of the compiled-in resource (tests). */
    void setLanguageListPath(const QString &path) { m_languageListPath = path; }

    MovieListModel *list() const { return m_list; }
    ImportPipeline *importer() const { return m_importer; }
    /** The progress of the current long task (import or creation batch). */
    Progress *progress() const { return m_progress; }

    /** The language list in file order (maps with "alpha3-b", "alpha2", "English"). */
    const QList<QVariantMap> &languages() const { return m_languages; }
    /** Row of the selected language in languages(), -1 when none. */
    int selectedLanguageIndex() const { return m_selectedLanguage; }
    void setSelectedLanguageIndex(int index);

    /** The live preset: what the settings' radio group shows now. */
    Preset conversionOption() const { return m_conversionOption; }
    void setConversionOption(Preset preset);

    /** Stores the selected language (when there is one) and the live preset. */
    void saveSettings();

    /**
     * Removes the subtitles Kinovela saved earlier and imports the files (replacing the list).
     * importFinished() follows with the files that were not listed; without
     * a probe program serviceProblem() says so first.
     */
    void importFiles(const QList<QUrl> &urls);

    /**
     * Save: plans the Save of every listed item into @p destinationFolder with
     * the live preset and carries the plan out; saveFinished() follows, also
     * for an empty list. Does nothing while a Save runs. Store genres still on
     * their way are waited for first, so the tags written are final.
     */
    void save(const QString &destinationFolder, ClashPolicy clashes = ClashPolicy::Fail);
    /** Carries out exactly @p plan (made by planSave()); saveFinished() follows. */
    void save(const SavePlan &plan);
    /**
     * The first half of save(): waits for the store genres still on their way
     * (the progress shows it, and cancelSave() ends the wait with every movie
     * reported cancelled), then calls @p planned with the plan of a Save into
     * @p destinationFolder that fails clashing names.
     */
    void prepareSave(const QString &destinationFolder, std::function<void(const SavePlan &)> planned);
    /**
     * The plan of a Save of the list as it is now (see SavePlan). With
     * @p askTheDisk false nothing at all is written, not even the test of
     * whether the destination takes a name.
     */
    SavePlan planSave(const QString &destinationFolder, ClashPolicy clashes = ClashPolicy::Fail,
                      bool skipNeedsReview = false, bool askTheDisk = true) const;
    /** Converted sources are deleted outright instead of moved to the Trash (stored setting "deleteSourcesOutright"). */
    bool deletesSources() const;
    void setDeletesSources(bool outright);
    /** For this run only, never stored (kinovela-cli create --delete-sources). */
    void setRunDeletesSources(bool outright) { m_runDeletesSources = outright; }
    /**
     * Stops the running Save after the current step; the items not reached
     * are reported as cancelled. A Save still waiting for store genres stops
     * at once, every item cancelled.
     */
    void cancelSave();
    bool isSaving() const;

    /** The Save that undoLastSave() would take back, in a line ("24/11/2026 10:31 into /dest, 3 movies"); empty when none. */
    QString lastSaveText() const;
    /**
     * Undo Last Save: takes the last Save back from its journal (see
     * SaveUndo) on a worker thread, showing progress; undoFinished() follows.
     * Does nothing while a Save or an undo runs.
     */
    void undoLastSave();
    bool isUndoing() const { return m_undoing; }

Q_SIGNALS:
    void conversionOptionChanged(Preset preset);
    void selectedLanguageChanged(int index);
    /** One result per item of the Save, in list order. */
    void saveFinished(const QList<CreationResult> &results);
    void undoFinished(const UndoReport &report);
    /** Every file of importFiles() is listed or rejected; @p rejectedPaths are the ones not listed. */
    void importFinished(const QStringList &rejectedPaths);
    /**
     * A web service or program could not be used at all (unreachable,
     * refusing the key, ffprobe missing), in a sentence a person can act on.
     */
    void serviceProblem(const QString &message);

private:
    void reportAllCancelled();

    MovieListModel *m_list;
    Progress *m_progress;
    ImportPipeline *m_importer;
    CreationBatch *m_batch;
    QList<QVariantMap> m_languages;
    int m_selectedLanguage = -1;
    Preset m_conversionOption = Presets::Default;
    QString m_languageListPath;
    std::optional<bool> m_runDeletesSources;
    QStringList m_importedPaths;
    bool m_waitingForStore = false;
    bool m_undoing = false;
    quint64 m_storeWait = 0;
};
