#pragma once

#include "base/Candidates.h"
#include "base/ItemImage.h"

#include <QDialog>

class QLabel;
class QListWidget;
class QPushButton;

/**
 * Choose Poster ("posterSearchWindow"), a sheet on the metadata
 * editor: the posters TMDb has for the movie in the search language. Return
 * or a double-click takes the selected one (downloaded at full size),
 * Escape cancels.
 */
class PosterChooser : public QDialog
{
    Q_OBJECT
public:
    explicit PosterChooser(QWidget *parent);

    void openFor(qint64 tmdbID);

public Q_SLOTS:
    void accept() override;
    void reject() override;

Q_SIGNALS:
    void posterChosen(const ItemImage &poster);
    void resultsShown();

private:
    QListWidget *m_posters;
    QLabel *m_status;
    QPushButton *m_ok;
    QList<PosterChoice> m_choices;
    quint64 m_generation = 0;
};
