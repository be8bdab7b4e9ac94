#pragma once

#include "base/Candidates.h"
#include "base/MovieItemKeys.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTableWidget;

/**
 * Choose Subtitle ("subtitleSearchWindow"): the subtitles
 * OpenSubtitles offers for the movie, newest first, and Download. The sheet
 * opens at once and says what it is doing; Return or a double-click
 * downloads the selected subtitle, Escape cancels. It keeps the movie it
 * was opened for.
 */
class SubtitleSheet : public QDialog
{
    Q_OBJECT
public:
    explicit SubtitleSheet(QWidget *parent);

    void openFor(const MovieItem &item);

public Q_SLOTS:
    void accept() override;
    void reject() override;

Q_SIGNALS:
    void chosen(const MovieItem &before, const MovieItem &after);
    void resultsShown();

private:
    void showResults(const QList<SubtitleCandidate> &candidates);

    MovieItem m_item;
    QTableWidget *m_results;
    QLabel *m_status;
    QLabel *m_allowance;
    QPushButton *m_download;
    QList<SubtitleCandidate> m_candidates;
    quint64 m_generation = 0;
};
