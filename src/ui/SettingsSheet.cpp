#include "ui/SettingsSheet.h"

#include "app/AppCore.h"
#include "app/MovieListModel.h"
#include "base/UserSettings.h"
#include "base/ConversionProfile.h"
#include "subtitles/SubtitleCredentials.h"
#include "subtitles/SubtitleQuota.h"
#include "ui/ServicesTab.h"

#include <QButtonGroup>
#include <QCollator>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStandardItemModel>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <numeric>

SettingsSheet::SettingsSheet(AppCore *core, QWidget *parent)
    : QDialog(parent)
    , m_core(core)
    , m_language(new QComboBox(this))
    , m_presets(new QButtonGroup(this))
    , m_provider(new QComboBox(this))
    , m_allowance(new QLabel(this))
    , m_profile(new QComboBox(this))
    , m_apiKey(new QLineEdit(this))
    , m_user(new QLineEdit(this))
    , m_password(new QLineEdit(this))
    , m_reviewThreshold(new QDoubleSpinBox(this))
    , m_services(new ServicesTab(this))
{
    setObjectName(QStringLiteral("settingsWindow"));
    setWindowTitle(tr("Settings"));
    setWindowModality(Qt::WindowModal);
    m_language->setObjectName(QStringLiteral("languageSettingsPUBTN"));
    m_language->setToolTip(tr("The language of the titles, plots and posters TMDb gives, and of the subtitles"));
    m_language->setMaxVisibleItems(20);

    m_presets->setObjectName(QStringLiteral("radioBTNsGroup"));
    auto *presetBox = new QGroupBox(tr("When saving"), this);
    auto *presetLayout = new QVBoxLayout(presetBox);
    for (int preset = 1; preset <= 4; ++preset) {
        auto *radio = new QRadioButton(presetTitle(preset), presetBox);
        radio->setObjectName(QStringLiteral("preset%1").arg(preset));
        auto *description = new QLabel(presetDescription(preset), presetBox);
        description->setObjectName(QStringLiteral("preset%1Description").arg(preset));
        description->setWordWrap(true);
        description->setIndent(radio->iconSize().width() + 10);
        QPalette muted = description->palette();
        QColor text = muted.color(QPalette::WindowText);
        text.setAlphaF(0.7f);
        muted.setColor(QPalette::WindowText, text);
        description->setPalette(muted);
        m_presets->addButton(radio, preset);
        presetLayout->addWidget(radio);
        presetLayout->addWidget(description);
        presetLayout->addSpacing(4);
    }

    using SubtitleCredentials::Provider;
    m_provider->setObjectName(QStringLiteral("openSubtitlesProviderPU"));
    m_provider->addItem(SubtitleCredentials::providerName(Provider::Rest), int(Provider::Rest));
    m_provider->addItem(SubtitleCredentials::providerName(Provider::Legacy), int(Provider::Legacy));
    m_provider->setItemData(1, tr("The old XML-RPC service: since 2024 it serves subtitles to paying members only"),
                            Qt::ToolTipRole);
    m_allowance->setObjectName(QStringLiteral("openSubtitlesAllowance"));
    m_allowance->setWordWrap(true);
    m_profile->setObjectName(QStringLiteral("conversionProfilePUBTN"));
    m_profile->addItem(tr("Classic: the first video and sound, re-encoded unless H.264 and AAC/AC-3"),
                       ConversionProfiles::name(ConversionProfile::Classic));
    m_profile->addItem(tr("Modern: every sound and text subtitle and the chapters; only what Apple players cannot play "
                          "is re-encoded"),
                       ConversionProfiles::name(ConversionProfile::Modern));
    auto *profileRow = new QFormLayout;
    profileRow->addRow(tr("Con&version:"), m_profile);
    presetLayout->addLayout(profileRow);

    m_apiKey->setObjectName(QStringLiteral("openSubtitlesApiKeyTF"));
    m_apiKey->setPlaceholderText(tr("optional: your opensubtitles.com API key"));
    m_user->setObjectName(QStringLiteral("openSubtitlesUserTF"));
    m_password->setObjectName(QStringLiteral("openSubtitlesPasswordTF"));
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setPlaceholderText(tr("kept in the system keychain"));
    auto *account = new QGroupBox(tr("Subtitles"), this);
    auto *accountForm = new QFormLayout(account);
    accountForm->addRow(tr("&Service:"), m_provider);
    accountForm->addRow(tr("API &key:"), m_apiKey);
    accountForm->addRow(tr("&User:"), m_user);
    accountForm->addRow(tr("&Password:"), m_password);
    accountForm->addRow(m_allowance);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setObjectName(QStringLiteral("okBTN_insideSettingsWindow"));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    buttons->button(QDialogButtonBox::Cancel)->setObjectName(QStringLiteral("cancelBTN_insideSettingsWindow"));

    auto *languageRow = new QFormLayout;
    languageRow->addRow(tr("Search &language:"), m_language);
    m_reviewThreshold->setObjectName(QStringLiteral("reviewThresholdSB"));
    m_reviewThreshold->setRange(0.0, 1.0);
    m_reviewThreshold->setSingleStep(0.05);
    m_reviewThreshold->setDecimals(2);
    m_reviewThreshold->setToolTip(tr("A match whose confidence is below this is marked \u201cNeeds review\u201d "
                                     "(0 marks none)"));
    languageRow->addRow(tr("&Review matches below:"), m_reviewThreshold);
    auto *general = new QWidget(this);
    auto *layout = new QVBoxLayout(general);
    layout->addLayout(languageRow);
    layout->addWidget(presetBox);
    layout->addWidget(account);

    auto *tabs = new QTabWidget(this);
    tabs->setObjectName(QStringLiteral("settingsTabs"));
    tabs->addTab(general, tr("&General"));
    tabs->addTab(m_services, tr("Ser&vices"));
    auto *sheet = new QVBoxLayout(this);
    sheet->setSizeConstraint(QLayout::SetMinimumSize);
    sheet->addWidget(tabs);
    sheet->addWidget(buttons);

    connect(buttons, &QDialogButtonBox::accepted, this, &SettingsSheet::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SettingsSheet::reject);
    connect(m_presets, &QButtonGroup::idClicked, m_core, [this](int id) {
        if (const std::optional<Preset> preset = Presets::fromNumber(id))
            m_core->setConversionOption(*preset);
    });
    connect(m_core, &AppCore::conversionOptionChanged, this, [this](Preset preset) {
        if (QAbstractButton *button = m_presets->button(Presets::number(preset)))
            button->setChecked(true);
    });
    connect(m_provider, &QComboBox::currentIndexChanged, this, [this] {
        m_allowance->setText(SubtitleQuota::statusLine(SubtitleCredentials::Provider(m_provider->currentData().toInt())));
    });
    connect(m_language, &QComboBox::activated, this, [this](int row) {
        const QVariant coreIndex = m_language->itemData(row);
        if (coreIndex.isValid())
            m_core->setSelectedLanguageIndex(coreIndex.toInt());
    });
}

QStringList SettingsSheet::commonLanguages()
{
    return {QStringLiteral("English"), QStringLiteral("Spanish; Castilian"), QStringLiteral("French"),
            QStringLiteral("German"),  QStringLiteral("Italian"),            QStringLiteral("Portuguese"),
            QStringLiteral("Russian"), QStringLiteral("Japanese"),           QStringLiteral("Chinese"),
            QStringLiteral("Korean"),  QStringLiteral("Arabic"),             QStringLiteral("Hindi")};
}

QString SettingsSheet::presetTitle(int preset)
{
    switch (preset) {
    case 1: return tr("Tag MP4 files where they are");
    case 2: return tr("Tag MP4 files and move them to the destination");
    case 3: return tr("Convert every file to a new MP4");
    case 4: return tr("Convert every file to a new MP4, with subtitles");
    default: return {};
    }
}

QString SettingsSheet::presetDescription(int preset)
{
    const QString others = tr("Other files (and movies that were not identified) are converted into the destination "
                              "folder; each original goes to the Trash once its MP4 is complete and checked.");
    switch (preset) {
    case 1: return tr("Identified MP4 files get their tags in place; nothing is copied or moved. ") + others;
    case 2: return tr("Identified MP4 files get their tags and are moved (not copied) to the destination. ") + others;
    case 3:
        return tr("Each file becomes a new MP4 in the destination: H.264 video and AAC or AC-3 sound are copied as they "
                  "are (quick), other formats are re-encoded (slow). The original goes to the Trash once the MP4 is complete and checked.");
    case 4:
        return tr("As above, and a subtitle from OpenSubtitles is fetched at import and added to each movie as a text "
                  "track. The original goes to the Trash once the MP4 is complete and checked.");
    default: return {};
    }
}

void SettingsSheet::load()
{
    const QList<QVariantMap> &languages = m_core->languages();
    QList<int> order(languages.size());
    std::iota(order.begin(), order.end(), 0);
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    auto nameOf = [&languages](int index) { return languages.at(index).value(QStringLiteral("English")).toString(); };
    std::sort(order.begin(), order.end(), [&](int a, int b) { return collator.compare(nameOf(a), nameOf(b)) < 0; });

    m_language->clear();
    const QStringList common = commonLanguages();
    int added = 0;
    for (const QString &name : common) {
        for (int index : std::as_const(order)) {
            if (nameOf(index) == name) {
                m_language->addItem(name, index);
                ++added;
            }
        }
    }
    if (added > 0)
        m_language->insertSeparator(m_language->count());
    for (int index : std::as_const(order)) {
        if (!common.contains(nameOf(index)))
            m_language->addItem(nameOf(index), index);
    }
    showLanguage(m_core->selectedLanguageIndex());
    if (QAbstractButton *button = m_presets->button(Presets::number(m_core->conversionOption())))
        button->setChecked(true);
}

void SettingsSheet::showLanguage(int coreIndex)
{
    m_language->setCurrentIndex(m_language->findData(coreIndex));
}

void SettingsSheet::openSheet()
{
    m_presetWhenOpened = Presets::number(m_core->conversionOption());
    m_languageWhenOpened = m_core->selectedLanguageIndex();
    showLanguage(m_languageWhenOpened);
    m_profile->setCurrentIndex(m_profile->findData(ConversionProfiles::name(ConversionProfiles::current())));
    m_apiKey->setText(SubtitleCredentials::apiKey());
    m_user->setText(SubtitleCredentials::userName());
    m_password->clear();
    m_reviewThreshold->setValue(UserSettings::reviewThreshold());
    const bool fromEnvironment = qEnvironmentVariableIsSet("KINOVELA_OPENSUBTITLES_PROVIDER");
    m_provider->setCurrentIndex(m_provider->findData(int(SubtitleCredentials::provider())));
    m_provider->setEnabled(!fromEnvironment);
    m_provider->setToolTip(fromEnvironment ? tr("Set by KINOVELA_OPENSUBTITLES_PROVIDER in the environment") : QString());
    m_allowance->setText(SubtitleQuota::statusLine());
    // A window's minimum height ignores that wrapped text needs more lines at the width it gets: ask the layout.
    adjustSize();
    setMinimumHeight(layout()->totalHeightForWidth(width()));
    resize(width(), minimumHeight());
    m_services->load();
    open();
    m_language->setFocus();
}

void SettingsSheet::accept()
{
    m_core->saveSettings();
    if (m_provider->isEnabled())
        SubtitleCredentials::storeProvider(SubtitleCredentials::Provider(m_provider->currentData().toInt()));
    if (const std::optional<ConversionProfile> profile = ConversionProfiles::fromName(m_profile->currentData().toString()))
        ConversionProfiles::store(*profile);
    m_services->store();
    SubtitleCredentials::storeApiKey(m_apiKey->text().trimmed());
    SubtitleCredentials::storeUserName(m_user->text().trimmed());
    // An empty field keeps the password that is in the keychain.
    if (!m_password->text().isEmpty())
        SubtitleCredentials::storePassword(m_password->text());
    m_password->clear();
    UserSettings::storeReviewThreshold(m_reviewThreshold->value());
    m_core->list()->reviewAgainst(UserSettings::reviewThreshold());
    QDialog::accept();
}

void SettingsSheet::reject()
{
    if (const std::optional<Preset> preset = Presets::fromNumber(m_presetWhenOpened))
        m_core->setConversionOption(*preset);
    m_core->setSelectedLanguageIndex(m_languageWhenOpened);
    showLanguage(m_languageWhenOpened);
    QDialog::reject();
}
