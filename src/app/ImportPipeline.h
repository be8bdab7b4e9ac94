#pragma once

#include "base/MovieItemKeys.h"
#include "base/Preset.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QUrl>

#include <functional>

class FileProbe;
struct FileClues;
class MovieListModel;
class Progress;

/**
 * Turns chosen files into movie items in the main list: each file is taken
 * up `stagger` seconds after the previous one, probed, filtered, given its
 * file facts, completed by the online stages (movie lookup and, with
 * preset 4, the subtitle fetch), appended and the list arranged by
 * "serialNumber". Progress is reported through the Progress object;
 * the progress phase ends when every file is done. The list's selection
 * goes to the last row at the end unless the user selected a row meanwhile:
 * a late completion never moves the user's selection.
 * finished() follows when every file has been listed or rejected.
 *
 * Probes run on a worker thread and every web request is asynchronous, so
 * the thread that owns the pipeline never waits; all list changes happen
 * on that thread. A new import abandons what an earlier one still has
 * outstanding.
 */
class ImportPipeline : public QObject
{
    Q_OBJECT
public:
    ImportPipeline(MovieListModel *list, Progress *progress, QObject *parent = nullptr);
    ~ImportPipeline() override;

    /** Seconds between the start of two files (0.5 by default, 0 allowed). */
    void setStagger(double seconds);
    double stagger() const { return m_stagger; }

    /** Where the live preset is read from, at the moment each lookup completes. */
    void setPresetSource(std::function<Preset()> source);

    /** Removes the subtitles Kinovela saved earlier (nothing of the user's), then gathers the files. */
    void importFiles(const QList<QUrl> &urls);
    /** Gathers the files without touching the subtitles folder. An empty list does nothing. */
    void gatherInfoToDisplayWithURLs(const QList<QUrl> &urls);

    /**
     * With the subtitle preset: a sentence saying so when importing
     * `fileCount` files may need more subtitle downloads than the service
     * still allows (as its last answer said); empty otherwise. The window
     * asks before it imports; the command line prints it.
     */
    static QString subtitleQuotaWarning(int fileCount, Preset preset);

    bool isRunning() const { return m_outstanding > 0; }

    /**
     * The list never waits for the store genre: an item is listed with the
     * TMDb genre and takes the store's when it answers (unless a person
     * changed the genre or the movie meanwhile). What is saved or printed
     * waits for these answers with whenStoreAnswered().
     */
    static int storeAnswersPending();
    static void whenStoreAnswered(QObject *context, std::function<void()> done);

    /** Removes the files Kinovela saved in the subtitles folder and makes the folder when missing; failures are ignored. */
    static void resetSubtitlesFolder();

Q_SIGNALS:
    /** Emitted by importFiles before anything is spent, with subtitleQuotaWarning's sentence. */
    void subtitleQuotaShort(const QString &warning);
    /** Every file of the current import has been listed or rejected. */
    void finished();

private:
    void probeFile(quint64 generation, int index, int count, const QUrl &url);
    void probed(quint64 generation, int index, int count, const FileProbe &probe, const FileClues &clues);
    void runOnlineStages(quint64 generation, int index, int count, MovieItem item, FileClues clues);
    void lookedUp(quint64 generation, int index, int count, MovieItem item, const MovieItem &record);
    void finishFile(quint64 generation, int index, int count, const MovieItem *item);
    void storeGenreArrived(quint64 generation, int index, const MovieItem &genre);
    Preset currentPreset() const;

    MovieListModel *m_list;
    Progress *m_progress;
    double m_stagger = 0.5;
    std::function<Preset()> m_presetSource;
    int m_outstanding = 0;
    bool m_selecting = false;    ///< the import itself is changing the selection
    bool m_userSelected = false; ///< the user selected a row during this import
    quint64 m_generation = 0;
    QHash<int, MovieItem> m_lateGenres; ///< store genres of items not listed yet, by serial number
};
