#pragma once

#include "base/MovieItemKeys.h"

#include <QAbstractTableModel>
#include <QCache>
#include <QImage>
#include <QList>

#include <optional>
#include <utility>

class QItemSelectionModel;

/**
 * The main list: movie items in rows, kept in "serialNumber" order by
 * arrange(), with one current selection. Items are values: windows edit a
 * copy and put it back with replaceSelected()/replaceAt().
 */
class MovieListModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Role { ItemRole = Qt::UserRole + 1 };
    enum Column {
        PosterColumn,
        TitleColumn,
        YearColumn,
        FileNameColumn,
        DurationColumn,
        SizeColumn,
        VideoColumn,
        AudioColumn,
        SubtitleColumn,
        RatingColumn,
        GenreColumn,
        SubtitleStatusColumn,
        ColumnCount
    };

    explicit MovieListModel(QObject *parent = nullptr);

    QItemSelectionModel *selectionModel() const { return m_selection; }

    /** Adds the item at the end and selects the last row. */
    void append(const MovieItem &item);
    /** Sorts ascending by "serialNumber" (stable); the selection follows its item. */
    void arrange();
    /** Inserts the edited copy at the selected row (selecting it) and removes the old item. False when nothing is selected. */
    bool replaceSelected(const MovieItem &edited);
    /** The same insert-then-remove step at a given row. */
    void replaceAt(int row, const MovieItem &edited);
    /** Row of the item with this "serialNumber", -1 when it is no longer listed. */
    int rowOfSerialNumber(qint64 serialNumber) const;
    /**
     * Puts @p edited in place of the listed item with the same "serialNumber",
     * wherever that item is now; false when it is no longer listed.
     */
    bool replaceItem(const MovieItem &edited);
    /** Marks again which matches need review, after the review threshold changed. */
    void reviewAgainst(double threshold);
    /**
     * Changes the listed item with the same "serialNumber" in place, leaving
     * the selection alone (a late answer, not an edit); false when it is no
     * longer listed.
     */
    bool updateItem(const MovieItem &changed);
    /** Removes the selected row. False when nothing is selected. */
    bool removeSelected();

    /** The first selected row, -1 when none. */
    int selectedRow() const;
    std::optional<MovieItem> selectedItem() const;
    void selectRow(int row);
    void selectLastRow();

    QList<MovieItem> items() const { return m_items; }
    MovieItem itemAt(int row) const { return m_items.value(row); }
    int count() const { return int(m_items.size()); }
    void clear();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    /** Size at which the list shows posters (decoded at this size only). */
    static QSize thumbnailSize() { return {46, 68}; }

private:
    QImage thumbnail(const QVariant &image, const QSize &bound) const;

    QList<MovieItem> m_items;
    QItemSelectionModel *m_selection;
    // Decoded thumbnails keyed by the image's cache key and the size shown,
    // so a list of hundreds of posters holds only small pictures and a paint
    // costs a lookup, not a pass over the encoded bytes.
    mutable QCache<std::pair<quint64, quint64>, QImage> m_thumbnails;
};
