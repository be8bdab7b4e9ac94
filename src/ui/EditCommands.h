#pragma once

#include "base/MovieItemKeys.h"

#include <QUndoCommand>

class MovieListModel;
class MovieTable;

/**
 * Edit ▸ Undo/Redo of what a person changes in the list: an edit, a batch
 * edit, a chosen movie or subtitle (the movies are put back by serial
 * number, wherever they are shown), and a removal (the movies come back in
 * their places). Undo and redo select the movies they changed.
 */
class ReplaceMoviesCommand : public QUndoCommand
{
public:
    ReplaceMoviesCommand(const QString &text, MovieListModel *list, MovieTable *table, const QList<MovieItem> &before,
                         const QList<MovieItem> &after);
    void undo() override;
    void redo() override;

private:
    void put(const QList<MovieItem> &items);

    MovieListModel *m_list;
    MovieTable *m_table;
    QList<MovieItem> m_before;
    QList<MovieItem> m_after;
};

class RemoveMoviesCommand : public QUndoCommand
{
public:
    RemoveMoviesCommand(MovieListModel *list, MovieTable *table, const QList<MovieItem> &removed);
    void undo() override;
    void redo() override;

private:
    MovieListModel *m_list;
    MovieTable *m_table;
    QList<MovieItem> m_removed;
};
