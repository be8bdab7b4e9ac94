#include "ui/EditCommands.h"

#include "app/MovieListModel.h"
#include "ui/MovieTable.h"

namespace {

QList<qint64> serialNumbersOf(const QList<MovieItem> &items)
{
    QList<qint64> serials;
    for (const MovieItem &item : items)
        serials.append(item.value(ItemKey::serialNumber).toLongLong());
    return serials;
}

} // namespace

ReplaceMoviesCommand::ReplaceMoviesCommand(const QString &text, MovieListModel *list, MovieTable *table,
                                           const QList<MovieItem> &before, const QList<MovieItem> &after)
    : QUndoCommand(text)
    , m_list(list)
    , m_table(table)
    , m_before(before)
    , m_after(after)
{
}

void ReplaceMoviesCommand::put(const QList<MovieItem> &items)
{
    for (const MovieItem &item : items)
        m_list->replaceItem(item);
    m_table->selectSerialNumbers(serialNumbersOf(items));
}

void ReplaceMoviesCommand::undo()
{
    put(m_before);
}

void ReplaceMoviesCommand::redo()
{
    put(m_after);
}

RemoveMoviesCommand::RemoveMoviesCommand(MovieListModel *list, MovieTable *table, const QList<MovieItem> &removed)
    : QUndoCommand(removed.size() == 1 ? QObject::tr("Remove %1").arg(removed.constFirst().value(ItemKey::fileName).toString())
                                       : QObject::tr("Remove %1 Movies").arg(removed.size()))
    , m_list(list)
    , m_table(table)
    , m_removed(removed)
{
}

void RemoveMoviesCommand::redo()
{
    // The row shown after the first removed one is selected afterwards, so Delete can be pressed again.
    const QList<qint64> removed = serialNumbersOf(m_removed);
    qint64 next = -1;
    bool passed = false;
    for (int row = 0; row < m_table->model()->rowCount(); ++row) {
        const qint64 serial = m_table->itemShownAt(row).value(ItemKey::serialNumber).toLongLong();
        if (removed.contains(serial))
            passed = true;
        else {
            next = serial;
            if (passed)
                break;
        }
    }
    for (qint64 serial : removed) {
        // The list removes its selected row: its own selection is only a tool here, the window's is the table's.
        m_list->selectRow(m_list->rowOfSerialNumber(serial));
        m_list->removeSelected();
    }
    m_table->selectSerialNumbers(next >= 0 ? QList<qint64>{next} : QList<qint64>());
}

void RemoveMoviesCommand::undo()
{
    for (const MovieItem &item : std::as_const(m_removed))
        m_list->append(item);
    m_list->arrange();
    m_table->selectSerialNumbers(serialNumbersOf(m_removed));
}
