#pragma once

#include "base/MovieItemKeys.h"
#include "creation/CreationBatch.h"

#include <QHash>
#include <QSet>
#include <QSortFilterProxyModel>
#include <QTableView>

#include <optional>

class MovieListModel;

/**
 * The list as a person sees it: sorted by any column (the import's own
 * order, by serial number, when no column is chosen), filtered by a text,
 * with one duration format and a state per row ("Not identified", "Needs
 * review" with the match's confidence and reasons, "Not saved" with the
 * reason, "Saved"). The core's list keeps its own order;
 * this proxy only presents it. Its first column (the list's poster column)
 * shows the state: the poster itself is shown beside the list.
 */
class MovieSortModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    enum class State { Ready, NotIdentified, Saved, NotSaved, NeedsReview };
    static constexpr int StateColumn = 0;

    explicit MovieSortModel(QObject *parent = nullptr);

    /**
     * Rows whose title, search text, file name, genre, year or state hold
     * every word of @p text: "needs review" narrows the list to the matches
     * to check.
     */
    void setFilterText(const QString &text);
    QString filterText() const { return m_filterText; }

    /** What the last Save did with each movie of @p items (found by its file); a cancelled one stays as it was. */
    void showSaveResults(const QList<CreationResult> &results, const QList<MovieItem> &items);
    void clearSaveOutcomes();

    State stateOf(const MovieItem &item) const;
    QString stateText(const MovieItem &item) const;

    /** "2:28:03", "0:00:03": the one duration format of the list. */
    static QString durationText(double seconds);

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;
    bool lessThan(const QModelIndex &left, const QModelIndex &right) const override;

private:
    MovieItem itemAt(const QModelIndex &sourceIndex) const;

    QString m_filterText;
    QStringList m_filterWords;
    QHash<qint64, std::pair<bool, QString>> m_saveOutcomes;
};

/**
 * The main list's view: extended selection, compact rows, sortable columns,
 * an empty state that says what to do. The selection is the view's own (on
 * the sorted rows) and follows the movies by serial number: a movie that is
 * replaced by its edited copy stays selected, and rows added by an import
 * never move it.
 */
class MovieTable : public QTableView
{
    Q_OBJECT
public:
    MovieTable(MovieListModel *list, QWidget *parent = nullptr);

    MovieSortModel *sortModel() const { return m_sort; }

    /** The selected movies, in the order shown. */
    QList<MovieItem> selectedItems() const;
    QList<qint64> selectedSerialNumbers() const;
    /** The selected movie when exactly one is selected. */
    std::optional<MovieItem> singleSelectedItem() const;
    void selectSerialNumbers(const QList<qint64> &serialNumbers);
    /** The row shown at @p row, as the list holds it now. */
    MovieItem itemShownAt(int row) const;

Q_SIGNALS:
    /** Return or a double-click on a movie. */
    void editRequested();
    /** The selected movies changed (also when one of them was replaced by its edited copy). */
    void selectedMoviesChanged();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void rememberSelection();
    void reselectInserted(int first, int last);

    MovieListModel *m_list;
    MovieSortModel *m_sort;
    QSet<qint64> m_remembered;
    QList<qint64> m_beforeLayout;
};
