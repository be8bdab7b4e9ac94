#include "ui/AppDelegate.h"

#include "app/AppCore.h"
#include "app/MetadataEditing.h"
#include "app/MovieLookup.h"
#include "app/MovieListModel.h"
#include "base/Diagnostics.h"
#include "base/ItemImage.h"
#include "base/Progress.h"
#include "base/ReleaseDate.h"
#include "base/UsRating.h"
#include "metadata/TMDB.h"
#include "subtitles/SubtitleCredentials.h"
#include "ui/DADImageView.h"

#include <QAction>
#include <QApplication>
#include <QButtonGroup>
#include <QComboBox>
#include <QDateEdit>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSplitter>
#include <QTableView>
#include <QTableWidget>
#include <QTextEdit>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

QDialog *makeSheet(QWidget *parent, const char *objectName, const QString &title)
{
    auto *dialog = new QDialog(parent);
    dialog->setObjectName(QString::fromLatin1(objectName));
    dialog->setWindowTitle(title);
    dialog->setWindowModality(Qt::WindowModal);
    return dialog;
}

QPushButton *makeButton(const char *objectName, const QString &text, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setObjectName(QString::fromLatin1(objectName));
    return button;
}

template<typename T>
T *named(T *widget, const char *objectName)
{
    widget->setObjectName(QString::fromLatin1(objectName));
    return widget;
}

QIcon iconOf(const QString &resource)
{
    return QIcon(QStringLiteral(":/images/") + resource);
}

QPixmap pixmapOf(const QVariant &value, const QSize &bound)
{
    if (!value.canConvert<ItemImage>())
        return {};
    return QPixmap::fromImage(value.value<ItemImage>().decode(bound));
}

} // namespace

AppDelegate::AppDelegate(QWidget *parent)
    : QMainWindow(parent)
    , m_core(new AppCore(this))
{
    setObjectName(QStringLiteral("window"));
    setWindowTitle(QStringLiteral("Kinovela"));
    setWindowIcon(iconOf(QStringLiteral("icon.png")));
    setAcceptDrops(true);
    resize(1100, 640);

    buildMainWindow();
    buildProgressWindow();
    buildSettingsWindow();
    buildSearchWindow();
    buildSubtitleWindow();
    buildEditWindow();
    buildBatchWindow();
    buildPosterWindow();

    connect(m_core, &AppCore::saveFinished, this, &AppDelegate::showCreationAlert);
}

AppDelegate::~AppDelegate() = default;

// ------------------------------------------------------------------ building

void AppDelegate::buildMainWindow()
{
    auto *toolbar = addToolBar(QStringLiteral("Main"));
    toolbar->setObjectName(QStringLiteral("toolbar"));
    toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolbar->setMovable(false);

    auto addAction = [this, toolbar](const char *name, const QString &text, const QString &icon, auto slot) {
        QAction *action = toolbar->addAction(iconOf(icon), text);
        action->setObjectName(QString::fromLatin1(name));
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    addAction("openMoviesBTN", tr("Open"), QStringLiteral("icon.png"), &AppDelegate::openMoviesBTN_clicked)
        ->setShortcut(QKeySequence::Open);
    m_findMovieBTN = addAction("findMovieBTN", QStringLiteral("Find Movie"), QStringLiteral("search.png"),
                               &AppDelegate::findMovieBTN_clicked);
    addAction("changeSubtitleBTN", tr("Subtitle"), QStringLiteral("search.png"), &AppDelegate::changeSubtitleBTN_clicked);
    addAction("editMetadataBTN", tr("Edit"), QStringLiteral("blank.png"), &AppDelegate::editMetadataBTN_clicked);
    addAction("batchEditBTN", tr("Batch Edit"), QStringLiteral("blank.png"), &AppDelegate::batchEditBTN_clicked);
    addAction("removeBTN", tr("Remove"), QStringLiteral("wrong.png"), &AppDelegate::removeBTN_clicked)
        ->setShortcut(QKeySequence::Delete);
    toolbar->addSeparator();
    addAction("presetsBTN", tr("Settings"), QStringLiteral("blank.png"), &AppDelegate::presetsBTN_clicked);
    addAction("saveBTN", tr("Save"), QStringLiteral("icon.png"), &AppDelegate::saveBTN_clicked)
        ->setShortcut(QKeySequence::Save);

    auto *splitter = new QSplitter(this);
    splitter->setObjectName(QStringLiteral("mainView"));
    m_table = named(new QTableView(splitter), "mainArrayController");
    m_table->setModel(m_core->list());
    m_table->setSelectionModel(m_core->list()->selectionModel());
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->verticalHeader()->setDefaultSectionSize(MovieListModel::thumbnailSize().height() + 6);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->setColumnWidth(MovieListModel::PosterColumn, MovieListModel::thumbnailSize().width() + 10);
    m_table->setColumnWidth(MovieListModel::TitleColumn, 200);
    m_table->setAlternatingRowColors(true);
    connect(m_table, &QTableView::doubleClicked, this, &AppDelegate::editMetadataBTN_clicked);

    m_posterView = named(new QLabel(splitter), "posterView");
    m_posterView->setAlignment(Qt::AlignCenter);
    m_posterView->setMinimumWidth(220);
    splitter->addWidget(m_table);
    splitter->addWidget(m_posterView);
    splitter->setStretchFactor(0, 4);
    splitter->setStretchFactor(1, 1);
    setCentralWidget(splitter);

    connect(m_core->list()->selectionModel(), &QItemSelectionModel::selectionChanged, this, &AppDelegate::selectionChanged);
    connect(m_core->list(), &QAbstractItemModel::rowsRemoved, this, &AppDelegate::showSelectedPoster);
    connect(m_core->list(), &QAbstractItemModel::modelReset, this, &AppDelegate::showSelectedPoster);
}

void AppDelegate::buildProgressWindow()
{
    m_progressWindow = makeSheet(this, "progressWindow", tr("Working"));
    m_progressWindow->setMinimumWidth(420);
    auto *layout = new QVBoxLayout(m_progressWindow);
    m_progressTitle = named(new QLabel(m_progressWindow), "progressTitle");
    m_progressTitle->setWordWrap(true);
    m_progressBar = named(new QProgressBar(m_progressWindow), "progressBar");
    m_progressBar->setRange(0, 100);
    m_progressCancelBTN = makeButton("progressCancelBTN", tr("Cancel"), m_progressWindow);
    layout->addWidget(m_progressTitle);
    layout->addWidget(m_progressBar);
    layout->addWidget(m_progressCancelBTN, 0, Qt::AlignRight);
    connect(m_progressCancelBTN, &QPushButton::clicked, this, &AppDelegate::progressCancelBTN_clicked);

    Progress *progress = m_core->progress();
    connect(progress, &Progress::began, this, [this](bool cancellable) {
        m_progressCancelBTN->setVisible(cancellable);
        m_progressCancelBTN->setEnabled(true);
        m_progressBar->setValue(int(m_core->progress()->value()));
        m_progressWindow->open();
    });
    connect(progress, &Progress::titleChanged, m_progressTitle, &QLabel::setText);
    connect(progress, &Progress::valueChanged, this, [this](double value) { m_progressBar->setValue(int(value)); });
    connect(progress, &Progress::ended, m_progressWindow, &QDialog::accept);
}

void AppDelegate::buildSettingsWindow()
{
    m_settingsWindow = makeSheet(this, "settingsWindow", tr("Settings"));
    auto *layout = new QFormLayout(m_settingsWindow);
    m_languageSettingsPUBTN = named(new QComboBox(m_settingsWindow), "languageSettingsPUBTN");
    layout->addRow(tr("Search language:"), m_languageSettingsPUBTN);

    m_radioBTNsGroup = new QButtonGroup(m_settingsWindow);
    m_radioBTNsGroup->setObjectName(QStringLiteral("radioBTNsGroup"));
    const std::pair<int, QString> presets[] = {
        {1, tr("Tag MP4 files where they are (convert the others)")},
        {2, tr("Tag MP4 files and move them to the destination (convert the others)")},
        {3, tr("Convert every file to MP4")},
        {4, tr("Convert every file to MP4 and add subtitles")},
    };
    auto *box = new QVBoxLayout;
    for (const auto &[tag, title] : presets) {
        auto *radio = new QRadioButton(title, m_settingsWindow);
        radio->setObjectName(QStringLiteral("preset%1").arg(tag));
        m_radioBTNsGroup->addButton(radio, tag);
        box->addWidget(radio);
    }
    layout->addRow(tr("When saving:"), box);
    connect(m_radioBTNsGroup, &QButtonGroup::idClicked, m_core, [this](int id) {
        if (const std::optional<Preset> preset = Presets::fromNumber(id))
            m_core->setConversionOption(*preset);
    });
    connect(m_core, &AppCore::conversionOptionChanged, this, [this](Preset preset) {
        if (QAbstractButton *button = m_radioBTNsGroup->button(Presets::number(preset)))
            button->setChecked(true);
    });
    connect(m_languageSettingsPUBTN, &QComboBox::currentIndexChanged, m_core, &AppCore::setSelectedLanguageIndex);

    // The OpenSubtitles account for the current subtitle service; without an API key the older service is used.
    m_openSubtitlesApiKeyTF = named(new QLineEdit(m_settingsWindow), "openSubtitlesApiKeyTF");
    m_openSubtitlesApiKeyTF->setPlaceholderText(tr("optional: your opensubtitles.com API key"));
    m_openSubtitlesUserTF = named(new QLineEdit(m_settingsWindow), "openSubtitlesUserTF");
    m_openSubtitlesPasswordTF = named(new QLineEdit(m_settingsWindow), "openSubtitlesPasswordTF");
    m_openSubtitlesPasswordTF->setEchoMode(QLineEdit::Password);
    m_openSubtitlesPasswordTF->setPlaceholderText(tr("kept in the system keychain"));
    layout->addRow(tr("OpenSubtitles API key:"), m_openSubtitlesApiKeyTF);
    layout->addRow(tr("OpenSubtitles user:"), m_openSubtitlesUserTF);
    layout->addRow(tr("OpenSubtitles password:"), m_openSubtitlesPasswordTF);

    auto *ok = makeButton("okBTN_insideSettingsWindow", tr("OK"), m_settingsWindow);
    ok->setDefault(true);
    layout->addRow(QString(), ok);
    connect(ok, &QPushButton::clicked, this, &AppDelegate::okBTN_insideSettingsWindow);
}

void AppDelegate::buildSearchWindow()
{
    m_moiveSearchWindow = makeSheet(this, "moiveSearchWindow", tr("Find Movie"));
    m_moiveSearchWindow->resize(640, 460);
    auto *layout = new QVBoxLayout(m_moiveSearchWindow);
    auto *row = new QHBoxLayout;
    m_searchStringTF = named(new QLineEdit(m_moiveSearchWindow), "searchStringTF");
    auto *search = makeButton("searchBTN_InsideSearchWindow", tr("Search"), m_moiveSearchWindow);
    row->addWidget(m_searchStringTF);
    row->addWidget(search);
    layout->addLayout(row);
    m_searchResults = named(new QTableWidget(0, 3, m_moiveSearchWindow), "searchArrayController");
    m_searchResults->setHorizontalHeaderLabels({tr("Poster"), tr("Title"), tr("Released")});
    m_searchResults->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_searchResults->setSelectionMode(QAbstractItemView::SingleSelection);
    m_searchResults->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_searchResults->verticalHeader()->setDefaultSectionSize(84);
    m_searchResults->verticalHeader()->hide();
    m_searchResults->horizontalHeader()->setStretchLastSection(true);
    m_searchResults->setColumnWidth(1, 300);
    layout->addWidget(m_searchResults);
    auto *buttons = new QHBoxLayout;
    auto *cancel = makeButton("cancelBTN_InsideSearchWindow", tr("Cancel"), m_moiveSearchWindow);
    auto *ok = makeButton("okBTN_InsideSearchWindow", tr("OK"), m_moiveSearchWindow);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(ok);
    layout->addLayout(buttons);
    connect(search, &QPushButton::clicked, this, &AppDelegate::searchBTN_InsideSearchWindow_clicked);
    connect(m_searchStringTF, &QLineEdit::returnPressed, this, &AppDelegate::searchBTN_InsideSearchWindow_clicked);
    connect(ok, &QPushButton::clicked, this, &AppDelegate::okBTN_InsideSearchWindow_clicked);
    connect(cancel, &QPushButton::clicked, this, &AppDelegate::cancelBTN_InsideSearchWindow_clicked);
}

void AppDelegate::buildSubtitleWindow()
{
    m_subtitleSearchWindow = makeSheet(this, "subtitleSearchWindow", tr("Choose Subtitle"));
    m_subtitleSearchWindow->resize(640, 400);
    auto *layout = new QVBoxLayout(m_subtitleSearchWindow);
    m_subtitleResults = named(new QTableWidget(0, 3, m_subtitleSearchWindow), "subtitleSearchArrayController");
    m_subtitleResults->setHorizontalHeaderLabels({tr("File"), tr("Uploader"), tr("Last line at")});
    m_subtitleResults->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_subtitleResults->setSelectionMode(QAbstractItemView::SingleSelection);
    m_subtitleResults->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_subtitleResults->verticalHeader()->hide();
    m_subtitleResults->setColumnWidth(0, 340);
    m_subtitleResults->horizontalHeader()->setStretchLastSection(true);
    layout->addWidget(m_subtitleResults);
    auto *buttons = new QHBoxLayout;
    auto *cancel = makeButton("cancelBTN_Inside_SubtitleSearchWindow", tr("Cancel"), m_subtitleSearchWindow);
    auto *download = makeButton("downloadBTN_Inside_SubtitleSearchWindow", tr("Download"), m_subtitleSearchWindow);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(download);
    layout->addLayout(buttons);
    connect(download, &QPushButton::clicked, this, &AppDelegate::downloadBTN_Inside_SubtitleSearchWindow_clicked);
    connect(cancel, &QPushButton::clicked, this, &AppDelegate::cancelBTN_Inside_SubtitleSearchWindow_Clicked);
}

void AppDelegate::buildEditWindow()
{
    m_editMetadataWindow = makeSheet(this, "editMetadataWindow", tr("Edit Metadata"));
    auto *outer = new QHBoxLayout(m_editMetadataWindow);
    auto *posterColumn = new QVBoxLayout;
    m_editMoviePosterIV = named(new DADImageView(m_editMetadataWindow), "editMoviePosterIV");
    auto *changePoster = makeButton("changePosterBTN_insideMetadataWindow", tr("Change Poster..."), m_editMetadataWindow);
    posterColumn->addWidget(m_editMoviePosterIV);
    posterColumn->addWidget(changePoster);
    posterColumn->addStretch();
    outer->addLayout(posterColumn);

    auto *form = new QFormLayout;
    auto line = [this](const char *name) { return named(new QLineEdit(m_editMetadataWindow), name); };
    m_editMovieTitleTF = line("editMovieTitleTF");
    m_editMovieGenreTF = line("editMovieGenreTF");
    m_editMovieTaglineTF = line("editMovieTaglineTF");
    m_editMovieOverviewTF = named(new QTextEdit(m_editMetadataWindow), "editMovieOverviewTF");
    m_editMovieOverviewTF->setAcceptRichText(false);
    m_editMovieOverviewTF->setMaximumHeight(90);
    m_editMovieRatingCBX = named(new QComboBox(m_editMetadataWindow), "editMovieRatingCBX");
    m_editMovieRatingCBX->setEditable(true);
    m_editMovieRatingCBX->addItems(UsRating::labels());
    m_editMovieReleaseDateDP = named(new QDateEdit(m_editMetadataWindow), "editMovieReleaseDateDP");
    m_editMovieReleaseDateDP->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    m_editMovieReleaseDateDP->setCalendarPopup(true);
    m_editMovieCountryTF = line("editMovieCountryTF");
    m_editMovieLanguageTF = line("editMovieLanguageTF");
    m_editMovieDirectorsTF = line("editMovieDirectorsTF");
    m_editMovieCastTF = line("editMovieCastTF");
    m_editMovieProducersTF = line("editMovieProducersTF");
    m_editMovieStudiosTF = line("editMovieStudiosTF");
    m_editMovieComposersTF = line("editMovieComposersTF");
    m_editMovieScreenwritersTF = line("editMovieScreenwritersTF");
    form->addRow(tr("Title:"), m_editMovieTitleTF);
    form->addRow(tr("Genre:"), m_editMovieGenreTF);
    form->addRow(tr("Tagline:"), m_editMovieTaglineTF);
    form->addRow(tr("Plot:"), m_editMovieOverviewTF);
    form->addRow(tr("Rating:"), m_editMovieRatingCBX);
    form->addRow(tr("Released:"), m_editMovieReleaseDateDP);
    form->addRow(tr("Country:"), m_editMovieCountryTF);
    form->addRow(tr("Language:"), m_editMovieLanguageTF);
    form->addRow(tr("Directors:"), m_editMovieDirectorsTF);
    form->addRow(tr("Cast:"), m_editMovieCastTF);
    form->addRow(tr("Producers:"), m_editMovieProducersTF);
    form->addRow(tr("Studios:"), m_editMovieStudiosTF);
    form->addRow(tr("Composers:"), m_editMovieComposersTF);
    form->addRow(tr("Screenwriters:"), m_editMovieScreenwritersTF);
    auto *buttons = new QHBoxLayout;
    auto *cancel = makeButton("cancelBTN_insideEditMetadataWindow", tr("Cancel"), m_editMetadataWindow);
    auto *save = makeButton("closeBTN_insideEditMetadataWindow", tr("Save"), m_editMetadataWindow);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(save);
    form->addRow(buttons);
    outer->addLayout(form, 1);
    m_editMetadataWindow->resize(760, 560);

    connect(changePoster, &QPushButton::clicked, this, &AppDelegate::changePosterBTN_insideMetadataWindow_clicked);
    connect(save, &QPushButton::clicked, this, &AppDelegate::closeBTN_insideEditMetadataWindow_clicked);
    connect(cancel, &QPushButton::clicked, this, &AppDelegate::cancelBTN_insideEditMetadataWindow_clicked);
}

void AppDelegate::buildBatchWindow()
{
    m_batchEditWindow = makeSheet(this, "batchEditWindow", tr("Batch Edit"));
    auto *form = new QFormLayout(m_batchEditWindow);
    m_batchMovieGenreTF = named(new QLineEdit(m_batchEditWindow), "batchMovieGenreTF");
    m_batchMovieLanguageTF = named(new QLineEdit(m_batchEditWindow), "batchMovieLanguageTF");
    form->addRow(tr("Genre of every movie:"), m_batchMovieGenreTF);
    form->addRow(tr("Language of every movie:"), m_batchMovieLanguageTF);
    auto *buttons = new QHBoxLayout;
    auto *cancel = makeButton("cancelBTN_insideBatchEditWindow", tr("Cancel"), m_batchEditWindow);
    auto *ok = makeButton("okBTN_insideBatchEditWindow", tr("OK"), m_batchEditWindow);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(ok);
    form->addRow(buttons);
    connect(ok, &QPushButton::clicked, this, &AppDelegate::okBTN_insideBatchEditWindow);
    connect(cancel, &QPushButton::clicked, this, &AppDelegate::cancelBTN_insideBatchEditWindow_clicked);
}

void AppDelegate::buildPosterWindow()
{
    m_posterSearchWindow = makeSheet(m_editMetadataWindow, "posterSearchWindow", tr("Choose Poster"));
    m_posterSearchWindow->resize(560, 420);
    auto *layout = new QVBoxLayout(m_posterSearchWindow);
    m_postersList = named(new QListWidget(m_posterSearchWindow), "postersListArrayController");
    m_postersList->setViewMode(QListView::IconMode);
    m_postersList->setIconSize(QSize(92, 138));
    m_postersList->setResizeMode(QListView::Adjust);
    m_postersList->setMovement(QListView::Static);
    layout->addWidget(m_postersList);
    auto *buttons = new QHBoxLayout;
    auto *cancel = makeButton("cancelBTN_insidePosterSearchWindow", tr("Cancel"), m_posterSearchWindow);
    auto *ok = makeButton("okBTN_insidePosterSearchWindow", tr("OK"), m_posterSearchWindow);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(ok);
    layout->addLayout(buttons);
    connect(ok, &QPushButton::clicked, this, &AppDelegate::okBTN_insidePosterSearchWindow_clicked);
    connect(cancel, &QPushButton::clicked, this, &AppDelegate::cancelBTN_insidePosterSearchWindow_clicked);
}

// ------------------------------------------------------------------ start-up, settings, list

void AppDelegate::applicationDidFinishLaunching()
{
    m_core->applicationDidFinishLaunching();
    m_languageSettingsPUBTN->blockSignals(true);
    m_languageSettingsPUBTN->clear();
    for (const QVariantMap &language : m_core->languages())
        m_languageSettingsPUBTN->addItem(language.value(QStringLiteral("English")).toString());
    m_languageSettingsPUBTN->setCurrentIndex(m_core->selectedLanguageIndex());
    m_languageSettingsPUBTN->blockSignals(false);
    if (QAbstractButton *button = m_radioBTNsGroup->button(Presets::number(m_core->conversionOption())))
        button->setChecked(true);
}

void AppDelegate::presetsBTN_clicked()
{
    m_openSubtitlesApiKeyTF->setText(SubtitleCredentials::apiKey());
    m_openSubtitlesUserTF->setText(SubtitleCredentials::userName());
    m_openSubtitlesPasswordTF->clear();
    m_settingsWindow->open();
}

void AppDelegate::okBTN_insideSettingsWindow()
{
    m_core->saveSettings();
    SubtitleCredentials::storeApiKey(m_openSubtitlesApiKeyTF->text().trimmed());
    SubtitleCredentials::storeUserName(m_openSubtitlesUserTF->text().trimmed());
    // An empty field keeps the password that is in the keychain.
    if (!m_openSubtitlesPasswordTF->text().isEmpty())
        SubtitleCredentials::storePassword(m_openSubtitlesPasswordTF->text());
    m_openSubtitlesPasswordTF->clear();
    m_settingsWindow->accept();
}

void AppDelegate::openMoviesBTN_clicked()
{
    auto *chooser = new QFileDialog(this, tr("Open"));
    chooser->setObjectName(QStringLiteral("openPanel"));
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setWindowModality(Qt::WindowModal);
    chooser->setFileMode(QFileDialog::ExistingFiles);
    chooser->setLabelText(QFileDialog::Accept, tr("Open"));
    connect(chooser, &QFileDialog::urlsSelected, this, &AppDelegate::openFiles);
    chooser->open();
}

void AppDelegate::openFiles(const QList<QUrl> &urls)
{
    m_core->importFiles(urls);
}

void AppDelegate::removeBTN_clicked()
{
    m_core->list()->removeSelected();
}

void AppDelegate::selectionChanged()
{
    showSelectedPoster();
    const std::optional<MovieItem> item = m_core->list()->selectedItem();
    if (!item)
        return;
    m_searchStringTF->setText(item->value(ItemKey::searchString).toString());
    const bool found = item->value(ItemKey::movieFoundStatus).toBool();
    m_findMovieBTN->setText(found ? QStringLiteral("Wrong Movie") : QStringLiteral("Find Movie"));
    m_findMovieBTN->setIcon(iconOf(found ? QStringLiteral("wrong.png") : QStringLiteral("search.png")));
}

void AppDelegate::showSelectedPoster()
{
    const std::optional<MovieItem> item = m_core->list()->selectedItem();
    m_posterView->setPixmap(item ? pixmapOf(item->value(ItemKey::moviePoster), QSize(220, 330)) : QPixmap());
}

// ------------------------------------------------------------------ movie search

void AppDelegate::fillSearchResults(const QList<MovieItem> &records)
{
    m_searchCandidates = records;
    m_searchResults->setRowCount(0);
    m_searchResults->setRowCount(int(records.size()));
    for (int row = 0; row < records.size(); ++row) {
        const MovieItem &record = records.at(row);
        auto *poster = new QTableWidgetItem;
        poster->setData(Qt::DecorationRole, pixmapOf(record.value(ItemKey::moviePoster), QSize(54, 80)));
        m_searchResults->setItem(row, 0, poster);
        m_searchResults->setItem(row, 1, new QTableWidgetItem(record.value(ItemKey::movieTitle).toString()));
        m_searchResults->setItem(row, 2,
                                 new QTableWidgetItem(record.value(ItemKey::movieReleaseDate_BEAUTIFIED).toString()));
    }
    if (!records.isEmpty())
        m_searchResults->selectRow(0);
    Q_EMIT sheetFinished(QStringLiteral("searchResults"));
}

void AppDelegate::findMovieBTN_clicked()
{
    m_searchResults->setRowCount(0);
    m_searchCandidates.clear();
    const std::optional<MovieItem> item = m_core->list()->selectedItem();
    if (!item)
        return;
    m_searchStringTF->setText(item->value(ItemKey::searchString).toString());
    searchBTN_InsideSearchWindow_clicked();
    m_moiveSearchWindow->open();
}

void AppDelegate::searchBTN_InsideSearchWindow_clicked()
{
    m_searchResults->setRowCount(0);
    m_searchCandidates.clear();
    const quint64 generation = ++m_searchGeneration;
    QPointer<AppDelegate> self(this);
    MovieLookup::searchCandidates(m_searchStringTF->text(), [self, generation](const QList<MovieItem> &records) {
        if (self && generation == self->m_searchGeneration)
            self->fillSearchResults(records);
    });
}

void AppDelegate::okBTN_InsideSearchWindow_clicked()
{
    const int row = m_searchResults->currentRow();
    const std::optional<MovieItem> selected = m_core->list()->selectedItem();
    if (row < 0 || row >= m_searchCandidates.size() || !selected) {
        m_moiveSearchWindow->accept();
        return;
    }
    m_moiveSearchWindow->setEnabled(false);
    QPointer<AppDelegate> self(this);
    MovieLookup::applyCandidate(*selected, m_searchCandidates.at(row), m_core->conversionOption(), this,
                                [self](const MovieItem &chosen) {
                                    self->m_core->list()->replaceItem(chosen);
                                    self->selectionChanged();
                                    self->m_moiveSearchWindow->setEnabled(true);
                                    self->m_moiveSearchWindow->accept();
                                    Q_EMIT self->sheetFinished(QStringLiteral("moiveSearchWindow"));
                                });
}

void AppDelegate::cancelBTN_InsideSearchWindow_clicked()
{
    ++m_searchGeneration;
    m_moiveSearchWindow->reject();
}

// ------------------------------------------------------------------ subtitle search

void AppDelegate::changeSubtitleBTN_clicked()
{
    const std::optional<MovieItem> item = m_core->list()->selectedItem();
    if (!item)
        return;
    QPointer<AppDelegate> self(this);
    MovieLookup::getSubtitleList(*item, this, [self](const QList<SubtitleCandidate> &candidates) {
        self->m_subtitleCandidates = candidates;
        self->m_subtitleResults->setRowCount(0);
        self->m_subtitleResults->setRowCount(int(candidates.size()));
        for (int row = 0; row < candidates.size(); ++row) {
            const SubtitleCandidate &candidate = candidates.at(row);
            self->m_subtitleResults->setItem(row, 0, new QTableWidgetItem(candidate.fileName));
            self->m_subtitleResults->setItem(row, 1, new QTableWidgetItem(candidate.uploaderName));
            self->m_subtitleResults->setItem(row, 2, new QTableWidgetItem(candidate.approximateTime));
        }
        if (!candidates.isEmpty())
            self->m_subtitleResults->selectRow(0);
        self->m_subtitleSearchWindow->open();
        Q_EMIT self->sheetFinished(QStringLiteral("subtitleResults"));
    });
}

void AppDelegate::downloadBTN_Inside_SubtitleSearchWindow_clicked()
{
    const std::optional<MovieItem> item = m_core->list()->selectedItem();
    const int row = m_subtitleResults->currentRow();
    if (!item || row < 0 || row >= m_subtitleCandidates.size())
        return;
    m_subtitleSearchWindow->setEnabled(false);
    QPointer<AppDelegate> self(this);
    MovieLookup::applySubtitle(*item, m_subtitleCandidates.at(row), this, [self](const std::optional<MovieItem> &updated) {
        // The chosen subtitle is the one the movie gets when it is converted.
        if (updated)
            self->m_core->list()->replaceItem(*updated);
        self->m_subtitleSearchWindow->setEnabled(true);
        self->m_subtitleSearchWindow->accept();
        Q_EMIT self->sheetFinished(QStringLiteral("subtitleSearchWindow"));
    });
}

void AppDelegate::cancelBTN_Inside_SubtitleSearchWindow_Clicked()
{
    m_subtitleSearchWindow->reject();
}

// ------------------------------------------------------------------ metadata editor and batch edit

void AppDelegate::editMetadataBTN_clicked()
{
    const std::optional<MovieItem> item = m_core->list()->selectedItem();
    if (!item)
        return;
    auto text = [&item](const QString &key) { return item->value(key).toString(); };
    m_editMovieTitleTF->setText(text(ItemKey::movieTitle));
    m_editMovieGenreTF->setText(text(ItemKey::movieGenre));
    m_editMovieTaglineTF->setText(text(ItemKey::movieTagline));
    m_editMovieOverviewTF->setPlainText(text(ItemKey::movieOverview));
    m_editMovieCountryTF->setText(text(ItemKey::movieCountry));
    m_editMovieLanguageTF->setText(text(ItemKey::movieLanguage));
    if (const std::optional<QString> label = UsRating::labelFor(text(ItemKey::movieRating_US)))
        m_editMovieRatingCBX->setCurrentText(*label);
    const QDate date = ReleaseDate::fromStored(text(ItemKey::movieReleaseDate_YYYYhMMhDD));
    if (date.isValid())
        m_editMovieReleaseDateDP->setDate(date);
    m_editMovieDirectorsTF->setText(MetadataEditing::listForm(text(ItemKey::movieDirectors)));
    m_editMovieCastTF->setText(MetadataEditing::listForm(text(ItemKey::movieCast)));
    m_editMovieStudiosTF->setText(MetadataEditing::listForm(text(ItemKey::movieStudios)));
    m_editMovieProducersTF->setText(MetadataEditing::listForm(text(ItemKey::movieProducers)));
    m_editMovieComposersTF->setText(MetadataEditing::listForm(text(ItemKey::movieComposers)));
    m_editMovieScreenwritersTF->setText(MetadataEditing::listForm(text(ItemKey::movieScreenwriters)));
    const QVariant poster = item->value(ItemKey::moviePoster);
    m_editMoviePosterIV->setImage(poster.canConvert<ItemImage>() ? poster.value<ItemImage>() : ItemImage());
    m_editMetadataWindow->open();
}

void AppDelegate::closeBTN_insideEditMetadataWindow_clicked()
{
    std::optional<MovieItem> item = m_core->list()->selectedItem();
    if (!item)
        return;
    item->insert(ItemKey::movieTitle, m_editMovieTitleTF->text());
    if (!m_editMoviePosterIV->image().isNull())
        item->insert(ItemKey::moviePoster, QVariant::fromValue(m_editMoviePosterIV->image()));
    item->insert(ItemKey::movieGenre, m_editMovieGenreTF->text());
    item->insert(ItemKey::movieTagline, m_editMovieTaglineTF->text());
    item->insert(ItemKey::movieOverview, m_editMovieOverviewTF->toPlainText());
    item->insert(ItemKey::movieCountry, m_editMovieCountryTF->text());
    item->insert(ItemKey::movieLanguage, m_editMovieLanguageTF->text());
    const QDate date = m_editMovieReleaseDateDP->date();
    item->insert(ItemKey::movieReleaseDate_YYYYhMMhDD, ReleaseDate::storedText(date));
    item->insert(ItemKey::movieReleaseDate_BEAUTIFIED, ReleaseDate::displayText(date));
    if (const auto rating = UsRating::forLabel(m_editMovieRatingCBX->currentText())) {
        item->insert(ItemKey::movieRating_US, rating->rating);
        item->insert(ItemKey::movieRating_US_Icon, QVariant::fromValue(ItemImage::fromResource(rating->badge)));
    }
    item->insert(ItemKey::movieDirectors, MetadataEditing::storedListForm(m_editMovieDirectorsTF->text()));
    item->insert(ItemKey::movieCast, MetadataEditing::storedListForm(m_editMovieCastTF->text()));
    item->insert(ItemKey::movieProducers, MetadataEditing::storedListForm(m_editMovieProducersTF->text()));
    item->insert(ItemKey::movieStudios, MetadataEditing::storedListForm(m_editMovieStudiosTF->text()));
    item->insert(ItemKey::movieComposers, MetadataEditing::storedListForm(m_editMovieComposersTF->text()));
    item->insert(ItemKey::movieScreenwriters, MetadataEditing::storedListForm(m_editMovieScreenwritersTF->text()));
    m_core->list()->replaceSelected(*item);
    m_editMetadataWindow->accept();
    showSelectedPoster();
}

void AppDelegate::cancelBTN_insideEditMetadataWindow_clicked()
{
    m_editMetadataWindow->reject();
}

void AppDelegate::batchEditBTN_clicked()
{
    m_batchEditWindow->open();
}

void AppDelegate::okBTN_insideBatchEditWindow()
{
    MovieListModel *list = m_core->list();
    const int selected = list->selectedRow();
    if (selected >= 0) {
        for (int row = 0; row < list->count(); ++row)
            list->replaceAt(row, MetadataEditing::batchEdited(list->itemAt(row), m_batchMovieGenreTF->text(),
                                                              m_batchMovieLanguageTF->text()));
        list->selectRow(selected);
    }
    m_batchEditWindow->accept();
}

void AppDelegate::cancelBTN_insideBatchEditWindow_clicked()
{
    m_batchEditWindow->reject();
}

// ------------------------------------------------------------------ poster search

void AppDelegate::changePosterBTN_insideMetadataWindow_clicked()
{
    m_postersList->clear();
    m_posterCandidates.clear();
    const std::optional<MovieItem> item = m_core->list()->selectedItem();
    if (!item)
        return;
    QPointer<AppDelegate> self(this);
    TMDB().getThumbnailsWithTmdbID(item->value(ItemKey::movieTMDBID).toLongLong(), [self](const QList<PosterChoice> &posters) {
        if (!self)
            return;
        self->m_posterCandidates = posters;
        self->m_postersList->clear();
        for (const PosterChoice &poster : posters) {
            auto *entry = new QListWidgetItem(QIcon(QPixmap::fromImage(poster.thumbnail.decode(QSize(92, 138)))), QString());
            entry->setToolTip(poster.posterPath);
            self->m_postersList->addItem(entry);
        }
        if (!posters.isEmpty())
            self->m_postersList->setCurrentRow(0);
        Q_EMIT self->sheetFinished(QStringLiteral("posterResults"));
    });
    m_posterSearchWindow->open();
}

void AppDelegate::okBTN_insidePosterSearchWindow_clicked()
{
    const int row = m_postersList->currentRow();
    if (row < 0 || row >= m_posterCandidates.size())
        return;
    m_posterSearchWindow->setEnabled(false);
    QPointer<AppDelegate> self(this);
    TMDB::getHighResPosterWithPosterPath(m_posterCandidates.at(row).posterPath,
                                          [self](const ItemImage &poster) {
                                              if (!self)
                                                  return;
                                              self->m_editMoviePosterIV->setImage(poster);
                                              self->m_posterSearchWindow->setEnabled(true);
                                              self->m_posterSearchWindow->accept();
                                              Q_EMIT self->sheetFinished(QStringLiteral("posterSearchWindow"));
                                          });
}

void AppDelegate::cancelBTN_insidePosterSearchWindow_clicked()
{
    m_posterSearchWindow->reject();
}

// ------------------------------------------------------------------ save

void AppDelegate::saveBTN_clicked()
{
    if (m_core->isSaving())
        return;
    auto *panel = new QFileDialog(this, tr("Choose the destination folder"));
    panel->setObjectName(QStringLiteral("savePanel"));
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setWindowModality(Qt::WindowModal);
    panel->setFileMode(QFileDialog::Directory);
    panel->setOption(QFileDialog::ShowDirsOnly, true);
    panel->setLabelText(QFileDialog::Accept, tr("Save"));
    connect(panel, &QFileDialog::fileSelected, this, &AppDelegate::creationTaskWithDestinationFolder);
    panel->open();
}

void AppDelegate::creationTaskWithDestinationFolder(const QString &destinationFolder)
{
    m_core->save(destinationFolder);
}

void AppDelegate::progressCancelBTN_clicked()
{
    m_progressCancelBTN->setEnabled(false);
    m_core->cancelSave();
}

void AppDelegate::showCreationAlert(const QList<CreationResult> &results)
{
    delete m_alert;
    m_alert = new QMessageBox(this);
    m_alert->setObjectName(QStringLiteral("creationAlert"));
    m_alert->setWindowModality(Qt::WindowModal);
    m_alert->setStandardButtons(QMessageBox::Ok);
    if (CreationBatch::allSucceeded(results)) {
        m_alert->setIcon(QMessageBox::Information);
        m_alert->setText(QStringLiteral("Movies Created Sucessfully!"));
        m_alert->setInformativeText(tr("Questions or problems? Write to the Kinovela developers at kinovela@users.noreply.org."));
    } else {
        QStringList failed;
        for (const CreationResult &result : results) {
            if (!result.succeeded())
                failed.append(QStringLiteral("%1: %2").arg(result.source.section(QLatin1Char('/'), -1), result.reason()));
        }
        m_alert->setIcon(QMessageBox::Warning);
        m_alert->setText(tr("Some movies could not be created. Their source files were left untouched."));
        m_alert->setInformativeText(failed.join(QLatin1Char('\n')));
    }
    m_alert->open();
    Q_EMIT creationFinished(results);
}

// ------------------------------------------------------------------ drops on the window

void AppDelegate::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void AppDelegate::dropEvent(QDropEvent *event)
{
    QList<QUrl> files;
    for (const QUrl &url : event->mimeData()->urls()) {
        if (url.isLocalFile())
            files.append(url);
    }
    if (files.isEmpty())
        return;
    event->acceptProposedAction();
    openFiles(files);
}
