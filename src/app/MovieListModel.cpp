#include "app/MovieListModel.h"

#include "app/MatchConfidence.h"

#include "base/ItemImage.h"

#include <QItemSelectionModel>

#include <algorithm>
#include <numeric>

MovieListModel::MovieListModel(QObject *parent)
    : QAbstractTableModel(parent)
    , m_selection(new QItemSelectionModel(this, this))
    , m_thumbnails(32 * 1024 * 1024) // bytes of decoded pictures: thousands of list thumbnails
{
}

void MovieListModel::append(const MovieItem &item)
{
    const int row = count();
    beginInsertRows(QModelIndex(), row, row);
    m_items.append(item);
    endInsertRows();
    // Only the first item takes the selection: a late append never moves what the user selected.
    if (selectedRow() < 0)
        selectRow(row);
}

void MovieListModel::arrange()
{
    const int selected = selectedRow();
    QList<int> order(count());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [this](int a, int b) {
        return m_items.at(a).value(ItemKey::serialNumber).toLongLong()
            < m_items.at(b).value(ItemKey::serialNumber).toLongLong();
    });
    bool changed = false;
    for (int i = 0; i < order.size(); ++i)
        changed = changed || order.at(i) != i;
    if (!changed)
        return;

    Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    QList<MovieItem> sorted;
    sorted.reserve(order.size());
    for (int from : std::as_const(order))
        sorted.append(m_items.at(from));
    m_items = sorted;
    Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    if (selected >= 0)
        selectRow(int(order.indexOf(selected)));
}

bool MovieListModel::replaceSelected(const MovieItem &edited)
{
    const int row = selectedRow();
    if (row < 0)
        return false;
    replaceAt(row, edited);
    return true;
}

void MovieListModel::replaceAt(int row, const MovieItem &edited)
{
    if (row < 0 || row >= count())
        return;
    beginInsertRows(QModelIndex(), row, row);
    m_items.insert(row, edited);
    endInsertRows();
    selectRow(row);
    beginRemoveRows(QModelIndex(), row + 1, row + 1);
    m_items.removeAt(row + 1);
    endRemoveRows();
}

int MovieListModel::rowOfSerialNumber(qint64 serialNumber) const
{
    for (int row = 0; row < count(); ++row) {
        if (m_items.at(row).value(ItemKey::serialNumber).toLongLong() == serialNumber)
            return row;
    }
    return -1;
}

bool MovieListModel::replaceItem(const MovieItem &edited)
{
    const int row = rowOfSerialNumber(edited.value(ItemKey::serialNumber).toLongLong());
    if (row < 0)
        return false;
    replaceAt(row, edited);
    return true;
}

void MovieListModel::reviewAgainst(double threshold)
{
    for (MovieItem &item : m_items) {
        if (item.contains(ItemKey::matchConfidence))
            item.insert(ItemKey::needsReview,
                        MatchConfidence::needsReview(item.value(ItemKey::matchConfidence).toDouble(), threshold));
    }
    if (!m_items.isEmpty())
        Q_EMIT dataChanged(index(0, 0), index(count() - 1, ColumnCount - 1));
}

bool MovieListModel::updateItem(const MovieItem &changed)
{
    const int row = rowOfSerialNumber(changed.value(ItemKey::serialNumber).toLongLong());
    if (row < 0)
        return false;
    m_items[row] = changed;
    Q_EMIT dataChanged(index(row, 0), index(row, columnCount() - 1));
    return true;
}

bool MovieListModel::removeSelected()
{
    const int row = selectedRow();
    if (row < 0)
        return false;
    beginRemoveRows(QModelIndex(), row, row);
    m_items.removeAt(row);
    endRemoveRows();
    return true;
}

int MovieListModel::selectedRow() const
{
    const QModelIndexList rows = m_selection->selectedRows();
    int first = -1;
    for (const QModelIndex &index : rows) {
        if (first < 0 || index.row() < first)
            first = index.row();
    }
    if (first < 0 && m_selection->currentIndex().isValid() && m_selection->isRowSelected(m_selection->currentIndex().row()))
        first = m_selection->currentIndex().row();
    return first;
}

std::optional<MovieItem> MovieListModel::selectedItem() const
{
    const int row = selectedRow();
    if (row < 0)
        return std::nullopt;
    return m_items.at(row);
}

void MovieListModel::selectRow(int row)
{
    if (row < 0 || row >= count()) {
        m_selection->clearSelection();
        return;
    }
    const QModelIndex index = this->index(row, 0);
    m_selection->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void MovieListModel::selectLastRow()
{
    selectRow(count() - 1);
}

void MovieListModel::clear()
{
    m_selection->clear();
    if (m_items.isEmpty())
        return;
    beginResetModel();
    m_items.clear();
    m_thumbnails.clear();
    endResetModel();
}

int MovieListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

int MovieListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QImage MovieListModel::thumbnail(const QVariant &value, const QSize &bound) const
{
    if (!value.canConvert<ItemImage>())
        return {};
    const ItemImage image = value.value<ItemImage>();
    if (image.isNull())
        return {};
    const std::pair<quint64, quint64> key{image.cacheKey(), quint64(quint32(bound.width())) << 32 | quint32(bound.height())};
    if (const QImage *cached = m_thumbnails.object(key))
        return *cached;
    const QImage decoded = image.decode(bound);
    m_thumbnails.insert(key, new QImage(decoded), qMax<qsizetype>(1, decoded.sizeInBytes()));
    return decoded;
}

QVariant MovieListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return {};
    const MovieItem &item = m_items.at(index.row());
    if (role == ItemRole)
        return item;

    if (role == Qt::DecorationRole) {
        if (index.column() == PosterColumn)
            return thumbnail(item.value(ItemKey::moviePoster), thumbnailSize());
        if (index.column() == RatingColumn)
            return thumbnail(item.value(ItemKey::movieRating_US_Icon), QSize(40, 20));
        return {};
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};

    switch (index.column()) {
    case TitleColumn: {
        const QString title = item.value(ItemKey::movieTitle).toString();
        return title.isEmpty() ? item.value(ItemKey::searchString).toString() : title;
    }
    case YearColumn: return item.value(ItemKey::movieReleaseYear).toString();
    case FileNameColumn: return item.value(ItemKey::fileName).toString();
    case DurationColumn: {
        // Short clips have no spoken duration ("1 Hr 30 Min" never shows seconds).
        const QString spoken = item.value(ItemKey::beautifiedDuration).toString().trimmed();
        return spoken.isEmpty() ? item.value(ItemKey::durationHuman).toString() : spoken;
    }
    case SizeColumn: return item.value(ItemKey::fileSize).toString();
    case VideoColumn: return item.value(ItemKey::videoString).toString();
    case AudioColumn: return item.value(ItemKey::audioString).toString();
    case SubtitleColumn: return item.value(ItemKey::subtitleString).toString();
    case RatingColumn: return role == Qt::ToolTipRole ? item.value(ItemKey::movieRating_US).toString() : QVariant();
    case GenreColumn: return item.value(ItemKey::movieGenre).toString();
    case SubtitleStatusColumn:
        if (!item.value(ItemKey::displaySubtitleBanner).toBool() && !item.value(ItemKey::subtitleFound).toBool())
            return QString();
        if (role == Qt::ToolTipRole)
            return item.value(ItemKey::subtitleNote).toString();
        return item.value(ItemKey::subtitleFound).toBool() ? tr("Subtitle found") : tr("No subtitle");
    default: return {};
    }
}

QVariant MovieListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case PosterColumn: return tr("Poster");
    case TitleColumn: return tr("Title");
    case YearColumn: return tr("Year");
    case FileNameColumn: return tr("File");
    case DurationColumn: return tr("Duration");
    case SizeColumn: return tr("Size");
    case VideoColumn: return tr("Video");
    case AudioColumn: return tr("Audio");
    case SubtitleColumn: return tr("Subtitles");
    case RatingColumn: return tr("Rating");
    case GenreColumn: return tr("Genre");
    case SubtitleStatusColumn: return tr("Subtitle");
    default: return {};
    }
}
