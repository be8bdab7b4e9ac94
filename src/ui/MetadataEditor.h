#pragma once

#include "base/MovieItemKeys.h"

#include <QDialog>

class DADImageView;
class PosterChooser;
class QComboBox;
class QDateEdit;
class QLineEdit;
class QPushButton;
class QTextEdit;

/**
 * Edit Metadata ("editMetadataWindow"): every field that is
 * written into the tags, and the poster (Change Poster, or a dropped
 * picture). Return saves from any line field, Tab leaves the plot, Escape
 * cancels. It keeps the movie it was opened with and gives back the edited
 * copy; nothing is changed when no field was.
 */
class MetadataEditor : public QDialog
{
    Q_OBJECT
public:
    explicit MetadataEditor(QWidget *parent);

    void openFor(const MovieItem &item);
    /** Names offered while typing in the language field. */
    void setLanguageNames(const QStringList &names);
    /** The item with the fields' values (what Save gives back). */
    MovieItem editedItem() const;

public Q_SLOTS:
    void accept() override;

Q_SIGNALS:
    void edited(const MovieItem &before, const MovieItem &after);

private:
    QLineEdit *line(const char *objectName);

    MovieItem m_item;
    DADImageView *m_poster;
    PosterChooser *m_posterChooser;
    QPushButton *m_changePoster;
    QLineEdit *m_title;
    QLineEdit *m_genre;
    QLineEdit *m_tagline;
    QTextEdit *m_overview;
    QComboBox *m_rating;
    QDateEdit *m_releaseDate;
    QLineEdit *m_country;
    QLineEdit *m_language;
    QLineEdit *m_directors;
    QLineEdit *m_cast;
    QLineEdit *m_producers;
    QLineEdit *m_studios;
    QLineEdit *m_composers;
    QLineEdit *m_screenwriters;
};

/**
 * Batch Edit ("batchEditWindow"): the genre and the language of the
 * selected movies at once; it says how many. An empty field leaves that
 * value as it is. Return applies, Escape cancels.
 */
class BatchEditSheet : public QDialog
{
    Q_OBJECT
public:
    explicit BatchEditSheet(QWidget *parent);

    void openFor(const QList<MovieItem> &items);
    void setLanguageNames(const QStringList &names);

public Q_SLOTS:
    void accept() override;

Q_SIGNALS:
    /** The changed movies, before and after, in the same order. */
    void edited(const QList<MovieItem> &before, const QList<MovieItem> &after);

private:
    QList<MovieItem> m_items;
    QLineEdit *m_genre;
    QLineEdit *m_language;
    QPushButton *m_apply;
    class QLabel *m_count;
};
