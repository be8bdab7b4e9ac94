#pragma once

#include "base/MovieItemKeys.h"

#include <QList>
#include <QObject>
#include <QUrl>

class MovieListModel;
class Progress;

/**
 * Turns chosen files into movie items in the main list: each file is taken
 * up `stagger` seconds after the previous one, probed, filtered, given its
 * file facts, completed by the online stages (movie lookup and, with
 * preset 4, the subtitle fetch), appended and the list arranged by
 * "serialNumber". Progress is reported through progress(); finished() is
 * emitted when every file has been listed or rejected.
 */
class ImportPipeline : public QObject
{
    Q_OBJECT
public:
    explicit ImportPipeline(MovieListModel *list, QObject *parent = nullptr);
    ~ImportPipeline() override;

    /** Seconds between the start of two files (0.5 by default). */
    void setStagger(double seconds);

    /** Empties and re-creates the subtitles folder, then gathers the files. */
    void importFiles(const QList<QUrl> &urls);
    /** Gathers the files without touching the subtitles folder. */
    void gatherInfoToDisplayWithURLs(const QList<QUrl> &urls);

    Progress *progress() const { return m_progress; }
    bool isRunning() const;

Q_SIGNALS:
    /** Every file has been listed or rejected (the progress phase may have ended earlier). */
    void finished();

private:
    MovieListModel *m_list;
    Progress *m_progress;
    double m_stagger = 0.5;
    int m_outstanding = 0;
    quint64 m_generation = 0;
};
