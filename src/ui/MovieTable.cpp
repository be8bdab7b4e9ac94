#include "ui/MovieTable.h"

#include "app/MovieListModel.h"
#include "ui/Icons.h"

#include <QCollator>
#include <QFont>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QRegularExpression>

#include <cmath>
#include <utility>

namespace {

const QCollator &collator()
{
    static const QCollator collator = [] {
        QCollator c;
        c.setNumericMode(true);
        c.setCaseSensitivity(Qt::CaseInsensitive);
        return c;
    }();
    return collator;
}

QString shownTitle(const MovieItem &item)
{
    const QString title = item.value(ItemKey::movieTitle).toString();
    return title.isEmpty() ? item.value(ItemKey::searchString).toString() : title;
}

/** "1.23 GB", "740 KB", "12 bytes" (the probe's form) as bytes, for sorting. */
double sizeInBytes(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^([0-9.]+)\\s*(bytes?|KB|MB|GB|TB|PB)$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    if (!match.hasMatch())
        return 0;
    static const QStringList units{QStringLiteral("KB"), QStringLiteral("MB"), QStringLiteral("GB"), QStringLiteral("TB"),
                                   QStringLiteral("PB")};
    const qsizetype unit = units.indexOf(match.captured(2));
    return match.captured(1).toDouble() * std::pow(1000.0, double(unit + 1));
}

/** "mpaa|PG-13|300|" -> 300; no rating sorts first. */
int ratingRank(const MovieItem &item)
{
    const QString rating = item.value(ItemKey::movieRating_US).toString();
    bool ok = false;
    const int rank = rating.section(QLatin1Char('|'), 2, 2).toInt(&ok);
    return rating.isEmpty() ? -2 : (ok ? rank : 999);
}

} // namespace

// ---------------------------------------------------------------- the proxy

MovieSortModel::MovieSortModel(QObject *parent)
    : QSortFilterProxyModel(parent)
{
    setDynamicSortFilter(true);
}

MovieItem MovieSortModel::itemAt(const QModelIndex &sourceIndex) const
{
    return sourceModel()->data(sourceModel()->index(sourceIndex.row(), 0), MovieListModel::ItemRole).toMap();
}

void MovieSortModel::setFilterText(const QString &text)
{
    m_filterText = text;
    m_filterWords = text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    invalidateFilter();
}

void MovieSortModel::showSaveResults(const QList<CreationResult> &results, const QList<MovieItem> &items)
{
    QHash<QString, qint64> serialOfFile;
    for (const MovieItem &item : items)
        serialOfFile.insert(item.value(ItemKey::filePath).toString(), item.value(ItemKey::serialNumber).toLongLong());
    for (const CreationResult &result : results) {
        if (!result.succeeded() && result.status.errorKind() == ErrorKind::Cancelled)
            continue;
        if (serialOfFile.contains(result.source))
            m_saveOutcomes.insert(serialOfFile.value(result.source),
                                  {result.succeeded(), result.succeeded() ? result.outputPath : result.reason()});
    }
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, StateColumn), index(rowCount() - 1, StateColumn));
}

void MovieSortModel::clearSaveOutcomes()
{
    m_saveOutcomes.clear();
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, StateColumn), index(rowCount() - 1, StateColumn));
}

MovieSortModel::State MovieSortModel::stateOf(const MovieItem &item) const
{
    const auto outcome = m_saveOutcomes.constFind(item.value(ItemKey::serialNumber).toLongLong());
    if (outcome != m_saveOutcomes.constEnd())
        return outcome->first ? State::Saved : State::NotSaved;
    if (!item.value(ItemKey::movieFoundStatus).toBool())
        return State::NotIdentified;
    return item.value(ItemKey::needsReview).toBool() ? State::NeedsReview : State::Ready;
}

QString MovieSortModel::stateText(const MovieItem &item) const
{
    switch (stateOf(item)) {
    case State::Ready: return tr("Ready");
    case State::NotIdentified: return tr("Not identified");
    case State::Saved: return tr("Saved");
    case State::NotSaved: return tr("Not saved");
    case State::NeedsReview: return tr("Needs review");
    }
    return {};
}

QString MovieSortModel::durationText(double seconds)
{
    if (!(seconds > 0))
        return QStringLiteral("–");
    const qint64 total = qint64(std::llround(seconds));
    return QStringLiteral("%1:%2:%3")
        .arg(total / 3600)
        .arg(total / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(total % 60, 2, 10, QLatin1Char('0'));
}

QVariant MovieSortModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const int column = index.column();
    if (role == MovieListModel::ItemRole
        || (column != StateColumn && column != MovieListModel::TitleColumn && column != MovieListModel::DurationColumn))
        return QSortFilterProxyModel::data(index, role);
    const MovieItem item = itemAt(mapToSource(index));
    const State state = stateOf(item);
    const auto outcome = m_saveOutcomes.value(item.value(ItemKey::serialNumber).toLongLong());
    QString explanation;
    switch (state) {
    case State::Ready:
        explanation = tr("Identified as %1; ready to save.").arg(shownTitle(item));
        if (item.contains(ItemKey::matchConfidence))
            explanation += QLatin1Char(' ')
                + tr("Confidence %1: %2.")
                      .arg(QString::number(item.value(ItemKey::matchConfidence).toDouble(), 'f', 2),
                           item.value(ItemKey::matchReasons).toStringList().join(QStringLiteral("; ")));
        break;
    case State::NotIdentified:
        explanation = tr("No movie on TMDb matched \u201c%1\u201d. Use Find Movie (Ctrl+I) to search for it by another "
                         "title, or Edit to type its details.")
                          .arg(item.value(ItemKey::searchString).toString());
        break;
    case State::NeedsReview:
        explanation = tr("Matched to %1 (%2), but only with confidence %3: %4. Check it, or use Wrong Movie (Ctrl+I) "
                         "to choose another.")
                          .arg(shownTitle(item), item.value(ItemKey::movieReleaseYear).toString(),
                               QString::number(item.value(ItemKey::matchConfidence).toDouble(), 'f', 2),
                               item.value(ItemKey::matchReasons).toStringList().join(QStringLiteral("; ")));
        break;
    case State::Saved: explanation = tr("Saved as %1").arg(outcome.second); break;
    case State::NotSaved: explanation = tr("Not saved: %1. The source file was kept.").arg(outcome.second); break;
    }

    if (column == StateColumn) {
        switch (role) {
        case Qt::DisplayRole: return stateText(item);
        case Qt::ToolTipRole: return explanation;
        case Qt::DecorationRole:
            switch (state) {
            case State::Ready: return QVariant();
            case State::NotIdentified: return Icons::named(QStringLiteral("dialog-warning"));
            case State::NeedsReview: return Icons::named(QStringLiteral("dialog-question"), QStringLiteral("dialog-warning"));
            case State::Saved: return Icons::named(QStringLiteral("emblem-default"));
            case State::NotSaved: return Icons::named(QStringLiteral("dialog-error"));
            }
            return {};
        default: return {};
        }
    }
    if (column == MovieListModel::TitleColumn) {
        if (role == Qt::FontRole && (state == State::NotIdentified || state == State::NeedsReview)) {
            QFont font;
            font.setItalic(true);
            return font;
        }
        if (role == Qt::ToolTipRole)
            return QString(shownTitle(item) + QLatin1Char('\n') + explanation);
        return QSortFilterProxyModel::data(index, role);
    }
    // The duration column.
    if (role == Qt::DisplayRole)
        return durationText(item.value(ItemKey::duration).toDouble());
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::ToolTipRole)
        return item.value(ItemKey::durationHuman).toString();
    return {};
}

QVariant MovieSortModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole) {
        switch (section) {
        case StateColumn: return tr("State");
        case MovieListModel::SubtitleColumn: return tr("Subtitle tracks");
        case MovieListModel::SubtitleStatusColumn: return tr("Subtitle to add");
        default: break;
        }
    }
    if (orientation == Qt::Horizontal && role == Qt::ToolTipRole) {
        switch (section) {
        case StateColumn: return tr("Whether the movie was identified, and what the last Save did with it");
        case MovieListModel::SubtitleColumn: return tr("The subtitle tracks the file already has");
        case MovieListModel::SubtitleStatusColumn: return tr("Whether a subtitle was downloaded to add when converting");
        default: return tr("Click to sort by this column; click again to reverse, a third time for the import's order");
        }
    }
    return QSortFilterProxyModel::headerData(section, orientation, role);
}

bool MovieSortModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (m_filterWords.isEmpty())
        return true;
    const MovieItem item = sourceModel()->index(sourceRow, 0, sourceParent).data(MovieListModel::ItemRole).toMap();
    const QString haystack = QStringList{item.value(ItemKey::movieTitle).toString(), item.value(ItemKey::searchString).toString(),
                                         item.value(ItemKey::fileName).toString(), item.value(ItemKey::movieGenre).toString(),
                                         item.value(ItemKey::movieReleaseYear).toString(), stateText(item)}
                                 .join(QLatin1Char(' '));
    for (const QString &word : m_filterWords) {
        if (!haystack.contains(word, Qt::CaseInsensitive))
            return false;
    }
    return true;
}

bool MovieSortModel::lessThan(const QModelIndex &left, const QModelIndex &right) const
{
    const MovieItem a = itemAt(left);
    const MovieItem b = itemAt(right);
    auto text = [](const MovieItem &item, const QString &key) { return item.value(key).toString(); };
    int order = 0;
    switch (left.column()) {
    case StateColumn: order = int(stateOf(a)) - int(stateOf(b)); break;
    case MovieListModel::TitleColumn: order = collator().compare(shownTitle(a), shownTitle(b)); break;
    case MovieListModel::YearColumn:
        order = text(a, ItemKey::movieReleaseYear).toInt() - text(b, ItemKey::movieReleaseYear).toInt();
        break;
    case MovieListModel::DurationColumn: {
        const double d = a.value(ItemKey::duration).toDouble() - b.value(ItemKey::duration).toDouble();
        order = d < 0 ? -1 : (d > 0 ? 1 : 0);
        break;
    }
    case MovieListModel::SizeColumn: {
        const double d = sizeInBytes(text(a, ItemKey::fileSize)) - sizeInBytes(text(b, ItemKey::fileSize));
        order = d < 0 ? -1 : (d > 0 ? 1 : 0);
        break;
    }
    case MovieListModel::RatingColumn: order = ratingRank(a) - ratingRank(b); break;
    case MovieListModel::SubtitleStatusColumn:
        order = int(a.value(ItemKey::subtitleFound).toBool()) - int(b.value(ItemKey::subtitleFound).toBool());
        break;
    default:
        order = collator().compare(left.data().toString(), right.data().toString());
        break;
    }
    if (order != 0)
        return order < 0;
    return a.value(ItemKey::serialNumber).toLongLong() < b.value(ItemKey::serialNumber).toLongLong();
}

// ---------------------------------------------------------------- the view

MovieTable::MovieTable(MovieListModel *list, QWidget *parent)
    : QTableView(parent)
    , m_list(list)
    , m_sort(new MovieSortModel(this))
{
    setObjectName(QStringLiteral("mainArrayController"));
    m_sort->setSourceModel(list);
    setModel(m_sort);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setShowGrid(false);
    setIconSize(QSize(16, 16));
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(qMax(fontMetrics().height() + 8, 24));
    QHeaderView *header = horizontalHeader();
    header->setSectionsMovable(true);
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
    header->setSortIndicatorClearable(true);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    setSortingEnabled(true);
    setColumnWidth(MovieSortModel::StateColumn, 130);
    setColumnWidth(MovieListModel::TitleColumn, 240);
    setColumnWidth(MovieListModel::YearColumn, 60);
    setColumnWidth(MovieListModel::FileNameColumn, 200);
    setColumnWidth(MovieListModel::DurationColumn, 80);
    setColumnWidth(MovieListModel::SizeColumn, 90);
    setColumnWidth(MovieListModel::RatingColumn, 64);

    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        rememberSelection();
        Q_EMIT selectedMoviesChanged();
    });
    connect(list, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) { reselectInserted(first, last); });
    // The list re-arranges itself after each append without moving persistent indexes: the selection is put back by serial number.
    connect(list, &QAbstractItemModel::layoutAboutToBeChanged, this, [this] { m_beforeLayout = m_remembered.values(); });
    connect(list, &QAbstractItemModel::layoutChanged, this, [this] {
        if (!m_beforeLayout.isEmpty())
            selectSerialNumbers(std::exchange(m_beforeLayout, {}));
    });
    connect(list, &QAbstractItemModel::modelReset, this, [this] {
        m_remembered.clear();
        Q_EMIT selectedMoviesChanged();
    });
    connect(this, &QAbstractItemView::doubleClicked, this, &MovieTable::editRequested);
}

MovieItem MovieTable::itemShownAt(int row) const
{
    return m_sort->index(row, 0).data(MovieListModel::ItemRole).toMap();
}

QList<MovieItem> MovieTable::selectedItems() const
{
    QModelIndexList rows = selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex &a, const QModelIndex &b) { return a.row() < b.row(); });
    QList<MovieItem> items;
    for (const QModelIndex &row : std::as_const(rows))
        items.append(row.data(MovieListModel::ItemRole).toMap());
    return items;
}

QList<qint64> MovieTable::selectedSerialNumbers() const
{
    QList<qint64> serials;
    for (const MovieItem &item : selectedItems())
        serials.append(item.value(ItemKey::serialNumber).toLongLong());
    return serials;
}

std::optional<MovieItem> MovieTable::singleSelectedItem() const
{
    const QList<MovieItem> items = selectedItems();
    if (items.size() != 1)
        return std::nullopt;
    return items.constFirst();
}

void MovieTable::selectSerialNumbers(const QList<qint64> &serialNumbers)
{
    QItemSelection selection;
    QModelIndex first;
    for (qint64 serial : serialNumbers) {
        const int sourceRow = m_list->rowOfSerialNumber(serial);
        const QModelIndex index = m_sort->mapFromSource(m_list->index(sourceRow, 0));
        if (!index.isValid())
            continue;
        selection.select(index, index);
        if (!first.isValid())
            first = index;
    }
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (first.isValid()) {
        selectionModel()->setCurrentIndex(first, QItemSelectionModel::NoUpdate);
        scrollTo(first);
    }
}

void MovieTable::rememberSelection()
{
    m_remembered.clear();
    for (qint64 serial : selectedSerialNumbers())
        m_remembered.insert(serial);
}

void MovieTable::reselectInserted(int first, int last)
{
    // An edited movie comes back as a new row (the list inserts the copy, then removes the old row).
    for (int row = first; row <= last; ++row) {
        const qint64 serial = m_list->itemAt(row).value(ItemKey::serialNumber).toLongLong();
        if (!m_remembered.contains(serial))
            continue;
        const QModelIndex index = m_sort->mapFromSource(m_list->index(row, 0));
        if (index.isValid())
            selectionModel()->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
}

void MovieTable::keyPressEvent(QKeyEvent *event)
{
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && event->modifiers() == Qt::NoModifier
        && !selectionModel()->selectedRows().isEmpty()) {
        Q_EMIT editRequested();
        return;
    }
    QTableView::keyPressEvent(event);
}

void MovieTable::paintEvent(QPaintEvent *event)
{
    QTableView::paintEvent(event);
    if (m_sort->rowCount() > 0)
        return;
    QPainter painter(viewport());
    QFont font = painter.font();
    font.setPointSizeF(font.pointSizeF() * 1.15);
    painter.setFont(font);
    painter.setPen(palette().color(QPalette::PlaceholderText));
    const QString text = m_list->count() == 0
        ? tr("No movies yet.\n\nChoose File \u25b8 Open (%1) or drop movie files here.\n"
             "Kinovela identifies each movie, lets you correct it, and on Save writes tagged MP4 files.")
              .arg(QKeySequence(QKeySequence::Open).toString(QKeySequence::NativeText))
        : tr("No movie matches \u201c%1\u201d.").arg(m_sort->filterText());
    painter.drawText(viewport()->rect().adjusted(24, 24, -24, -24), Qt::AlignCenter | Qt::TextWordWrap, text);
}
