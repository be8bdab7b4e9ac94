#include "ui/MetadataEditor.h"

#include "app/MetadataEditing.h"
#include "base/ItemImage.h"
#include "base/ReleaseDate.h"
#include "base/UsRating.h"
#include "ui/DADImageView.h"
#include "ui/Icons.h"
#include "ui/PosterChooser.h"

#include <QComboBox>
#include <QCompleter>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

namespace {

/** The date picker's value for "no date". */
const QDate NoDate(1800, 1, 1);

void offerNames(QLineEdit *field, const QStringList &names)
{
    auto *completer = new QCompleter(names, field);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    // Completed in the field itself: no popup to catch Return or Escape.
    completer->setCompletionMode(QCompleter::InlineCompletion);
    field->setCompleter(completer);
}

} // namespace

MetadataEditor::MetadataEditor(QWidget *parent)
    : QDialog(parent)
    , m_poster(new DADImageView(this))
    , m_posterChooser(new PosterChooser(this))
    , m_changePoster(new QPushButton(tr("Change Poster\u2026"), this))
{
    setObjectName(QStringLiteral("editMetadataWindow"));
    setWindowTitle(tr("Edit Metadata"));
    setWindowModality(Qt::WindowModal);

    m_poster->setObjectName(QStringLiteral("editMoviePosterIV"));
    m_poster->setToolTip(tr("Drop a JPEG or PNG file here to use it as the poster"));
    m_changePoster->setObjectName(QStringLiteral("changePosterBTN_insideMetadataWindow"));
    m_changePoster->setAutoDefault(false);
    m_changePoster->setToolTip(tr("Choose another poster from TMDb"));
    auto *dropHint = new QLabel(tr("or drop a picture on the poster"), this);
    dropHint->setAlignment(Qt::AlignCenter);
    dropHint->setWordWrap(true);
    dropHint->setEnabled(false);
    auto *posterColumn = new QVBoxLayout;
    posterColumn->addWidget(m_poster);
    posterColumn->addWidget(m_changePoster);
    posterColumn->addWidget(dropHint);
    posterColumn->addStretch();

    m_title = line("editMovieTitleTF");
    m_genre = line("editMovieGenreTF");
    m_tagline = line("editMovieTaglineTF");
    m_overview = new QTextEdit(this);
    m_overview->setObjectName(QStringLiteral("editMovieOverviewTF"));
    m_overview->setAcceptRichText(false);
    m_overview->setTabChangesFocus(true);
    m_overview->setFixedHeight(m_overview->fontMetrics().lineSpacing() * 5 + 12);
    m_rating = new QComboBox(this);
    m_rating->setObjectName(QStringLiteral("editMovieRatingCBX"));
    m_rating->addItems(UsRating::labels());
    m_releaseDate = new QDateEdit(this);
    m_releaseDate->setObjectName(QStringLiteral("editMovieReleaseDateDP"));
    m_releaseDate->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    m_releaseDate->setCalendarPopup(true);
    m_releaseDate->setMinimumDate(NoDate);
    m_releaseDate->setSpecialValueText(tr("unknown"));
    m_country = line("editMovieCountryTF");
    m_language = line("editMovieLanguageTF");
    m_directors = line("editMovieDirectorsTF");
    m_cast = line("editMovieCastTF");
    m_producers = line("editMovieProducersTF");
    m_studios = line("editMovieStudiosTF");
    m_composers = line("editMovieComposersTF");
    m_screenwriters = line("editMovieScreenwritersTF");
    const QString listHint = tr("Names separated by commas; the first five are kept");
    for (QLineEdit *list : {m_directors, m_cast, m_producers, m_studios, m_composers, m_screenwriters})
        list->setPlaceholderText(listHint);

    auto *form = new QFormLayout;
    form->addRow(tr("&Title:"), m_title);
    form->addRow(tr("&Genre:"), m_genre);
    form->addRow(tr("Tag&line:"), m_tagline);
    form->addRow(tr("&Plot:"), m_overview);
    form->addRow(tr("&Rating:"), m_rating);
    form->addRow(tr("Release&d:"), m_releaseDate);
    form->addRow(tr("C&ountry:"), m_country);
    form->addRow(tr("L&anguage:"), m_language);
    form->addRow(tr("D&irectors:"), m_directors);
    form->addRow(tr("&Cast:"), m_cast);
    form->addRow(tr("Prod&ucers:"), m_producers);
    form->addRow(tr("&Studios:"), m_studios);
    form->addRow(tr("Co&mposers:"), m_composers);
    form->addRow(tr("Scree&nwriters:"), m_screenwriters);

    auto *buttons = new QDialogButtonBox(this);
    QPushButton *save = buttons->addButton(QDialogButtonBox::Save);
    save->setObjectName(QStringLiteral("closeBTN_insideEditMetadataWindow"));
    save->setDefault(true);
    QPushButton *cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelBTN_insideEditMetadataWindow"));

    auto *columns = new QHBoxLayout;
    columns->addLayout(posterColumn);
    columns->addLayout(form, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(columns);
    layout->addWidget(buttons);
    resize(800, 600);

    connect(buttons, &QDialogButtonBox::accepted, this, &MetadataEditor::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &MetadataEditor::reject);
    connect(m_changePoster, &QPushButton::clicked, this,
            [this] { m_posterChooser->openFor(m_item.value(ItemKey::movieTMDBID).toLongLong()); });
    connect(m_posterChooser, &PosterChooser::posterChosen, m_poster, &DADImageView::setImage);
}

QLineEdit *MetadataEditor::line(const char *objectName)
{
    auto *field = new QLineEdit(this);
    field->setObjectName(QString::fromLatin1(objectName));
    return field;
}

void MetadataEditor::setLanguageNames(const QStringList &names)
{
    offerNames(m_language, names);
}

void MetadataEditor::openFor(const MovieItem &item)
{
    m_item = item;
    auto text = [&item](const QString &key) { return item.value(key).toString(); };
    const QString title = text(ItemKey::movieTitle);
    setWindowTitle(tr("Edit Metadata of %1").arg(title.isEmpty() ? text(ItemKey::fileName) : title));
    m_title->setText(title);
    m_genre->setText(text(ItemKey::movieGenre));
    m_tagline->setText(text(ItemKey::movieTagline));
    m_overview->setPlainText(text(ItemKey::movieOverview));
    m_country->setText(text(ItemKey::movieCountry));
    m_language->setText(text(ItemKey::movieLanguage));
    const std::optional<QString> label = UsRating::labelFor(text(ItemKey::movieRating_US));
    m_rating->setCurrentIndex(label ? m_rating->findText(*label) : -1);
    const QDate date = ReleaseDate::fromStored(text(ItemKey::movieReleaseDate_YYYYhMMhDD));
    m_releaseDate->setDate(date.isValid() ? date : NoDate);
    m_directors->setText(MetadataEditing::listForm(text(ItemKey::movieDirectors)));
    m_cast->setText(MetadataEditing::listForm(text(ItemKey::movieCast)));
    m_studios->setText(MetadataEditing::listForm(text(ItemKey::movieStudios)));
    m_producers->setText(MetadataEditing::listForm(text(ItemKey::movieProducers)));
    m_composers->setText(MetadataEditing::listForm(text(ItemKey::movieComposers)));
    m_screenwriters->setText(MetadataEditing::listForm(text(ItemKey::movieScreenwriters)));
    const QVariant poster = item.value(ItemKey::moviePoster);
    m_poster->setImage(poster.canConvert<ItemImage>() ? poster.value<ItemImage>() : ItemImage());
    const bool identified = item.value(ItemKey::movieTMDBID).toLongLong() > 0;
    m_changePoster->setEnabled(identified);
    m_changePoster->setToolTip(identified ? tr("Choose another poster from TMDb")
                                          : tr("The movie is not identified, so TMDb has no posters for it"));
    open();
    m_title->setFocus();
}

MovieItem MetadataEditor::editedItem() const
{
    MovieItem item = m_item;
    item.insert(ItemKey::movieTitle, m_title->text());
    if (!m_poster->image().isNull())
        item.insert(ItemKey::moviePoster, QVariant::fromValue(m_poster->image()));
    item.insert(ItemKey::movieGenre, m_genre->text());
    item.insert(ItemKey::movieTagline, m_tagline->text());
    item.insert(ItemKey::movieOverview, m_overview->toPlainText());
    item.insert(ItemKey::movieCountry, m_country->text());
    item.insert(ItemKey::movieLanguage, m_language->text());
    const QDate date = m_releaseDate->date();
    item.insert(ItemKey::movieReleaseDate_YYYYhMMhDD, date == NoDate ? QString() : ReleaseDate::storedText(date));
    item.insert(ItemKey::movieReleaseDate_BEAUTIFIED, date == NoDate ? QString() : ReleaseDate::displayText(date));
    if (const auto rating = UsRating::forLabel(m_rating->currentText())) {
        item.insert(ItemKey::movieRating_US, rating->rating);
        item.insert(ItemKey::movieRating_US_Icon, QVariant::fromValue(ItemImage::fromResource(rating->badge)));
    }
    item.insert(ItemKey::movieDirectors, MetadataEditing::storedListForm(m_directors->text()));
    item.insert(ItemKey::movieCast, MetadataEditing::storedListForm(m_cast->text()));
    item.insert(ItemKey::movieProducers, MetadataEditing::storedListForm(m_producers->text()));
    item.insert(ItemKey::movieStudios, MetadataEditing::storedListForm(m_studios->text()));
    item.insert(ItemKey::movieComposers, MetadataEditing::storedListForm(m_composers->text()));
    item.insert(ItemKey::movieScreenwriters, MetadataEditing::storedListForm(m_screenwriters->text()));
    return item;
}

void MetadataEditor::accept()
{
    const MovieItem after = editedItem();
    QDialog::accept();
    if (after != m_item)
        Q_EMIT edited(m_item, after);
}

// ---------------------------------------------------------------- batch edit

BatchEditSheet::BatchEditSheet(QWidget *parent)
    : QDialog(parent)
    , m_genre(new QLineEdit(this))
    , m_language(new QLineEdit(this))
    , m_count(new QLabel(this))
{
    setObjectName(QStringLiteral("batchEditWindow"));
    setWindowTitle(tr("Batch Edit"));
    setWindowModality(Qt::WindowModal);
    m_count->setObjectName(QStringLiteral("batchEditCount"));
    m_count->setWordWrap(true);
    m_genre->setObjectName(QStringLiteral("batchMovieGenreTF"));
    m_genre->setMinimumWidth(300);
    m_genre->setPlaceholderText(tr("leave empty to keep each movie's genre"));
    m_language->setObjectName(QStringLiteral("batchMovieLanguageTF"));
    m_language->setPlaceholderText(tr("leave empty to keep each movie's language"));
    auto *buttons = new QDialogButtonBox(this);
    m_apply = buttons->addButton(tr("Apply"), QDialogButtonBox::AcceptRole);
    m_apply->setObjectName(QStringLiteral("okBTN_insideBatchEditWindow"));
    m_apply->setDefault(true);
    QPushButton *cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelBTN_insideBatchEditWindow"));
    auto *form = new QFormLayout(this);
    form->addRow(m_count);
    form->addRow(tr("&Genre:"), m_genre);
    form->addRow(tr("&Language:"), m_language);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &BatchEditSheet::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &BatchEditSheet::reject);
}

void BatchEditSheet::setLanguageNames(const QStringList &names)
{
    offerNames(m_language, names);
}

void BatchEditSheet::openFor(const QList<MovieItem> &items)
{
    m_items = items;
    const int count = int(items.size());
    const QString movies = count == 1 ? tr("1 Movie") : tr("%1 Movies").arg(count);
    setWindowTitle(tr("Batch Edit %1").arg(movies));
    m_count->setText(count == 1 ? tr("Sets the genre and the language of the selected movie.")
                                : tr("Sets the genre and the language of the %1 selected movies.").arg(count));
    m_apply->setText(tr("Apply to %1").arg(movies));
    open();
    m_genre->setFocus();
    m_genre->selectAll();
}

void BatchEditSheet::accept()
{
    QList<MovieItem> before;
    QList<MovieItem> after;
    for (const MovieItem &item : std::as_const(m_items)) {
        const MovieItem changed = MetadataEditing::batchEdited(item, m_genre->text(), m_language->text());
        if (changed != item) {
            before.append(item);
            after.append(changed);
        }
    }
    QDialog::accept();
    if (!after.isEmpty())
        Q_EMIT edited(before, after);
}
