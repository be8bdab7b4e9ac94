#pragma once

#include "base/MovieItemKeys.h"

#include <QWidget>

class QLabel;

/** Beside the list: the selected movie's poster ("posterView") and its title, or how many movies are selected. */
class PosterPanel : public QWidget
{
    Q_OBJECT
public:
    explicit PosterPanel(QWidget *parent = nullptr);

    void showMovies(const QList<MovieItem> &selected);
    QString caption() const;

private:
    QLabel *m_poster;
    QLabel *m_caption;
};
