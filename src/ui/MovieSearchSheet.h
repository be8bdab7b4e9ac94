#pragma once

#include "base/MovieItemKeys.h"

#include <QDialog>

class AppCore;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableWidget;

/**
 * Find Movie ("moiveSearchWindow"): a search field, the movies
 * TMDb offers for it, and Choose. Return in the field searches when its text
 * changed since the last search and otherwise chooses the selected result;
 * Return or a double-click in the results chooses; Escape cancels. The sheet
 * keeps the movie it was opened for: choosing applies the candidate to that
 * movie, whatever is selected in the list by then.
 */
class MovieSearchSheet : public QDialog
{
    Q_OBJECT
public:
    MovieSearchSheet(AppCore *core, QWidget *parent);

    /** Opens the sheet for @p item and searches for its search text at once. */
    void openFor(const MovieItem &item);
    void search();

public Q_SLOTS:
    void accept() override;
    void reject() override;

Q_SIGNALS:
    /** The candidate was applied: @p before as the sheet opened with it, @p after with the chosen movie. */
    void chosen(const MovieItem &before, const MovieItem &after);
    /** The results of a search are shown (for tests). */
    void resultsShown();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void showResults(const QList<MovieItem> &records, const QString &failure);
    void setBusy(bool busy, const QString &status);

    AppCore *m_core;
    MovieItem m_item;
    QLineEdit *m_searchField;
    QPushButton *m_searchButton;
    QTableWidget *m_results;
    QLabel *m_status;
    QPushButton *m_choose;
    QList<MovieItem> m_candidates;
    QString m_searchedText;
    quint64 m_generation = 0;
};
