#include "ui/ServicesTab.h"

#include "app/ServiceCheck.h"
#include "base/AnswerCache.h"
#include "base/ServiceConfig.h"

#include <QCheckBox>
#include <QDir>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QWidget *row(QWidget *parent, QWidget *first, QWidget *second)
{
    auto *widget = new QWidget(parent);
    auto *layout = new QHBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(first);
    layout->addWidget(second, 1);
    return widget;
}

} // namespace

ServicesTab::ServicesTab(QWidget *parent)
    : QWidget(parent)
    , m_tmdbKey(new QLineEdit(this))
    , m_environmentNote(new QLabel(this))
    , m_tmdbResult(resultLabel(QStringLiteral("tmdbTestResult")))
    , m_storeResult(resultLabel(QStringLiteral("storeTestResult")))
    , m_openSubtitlesResult(resultLabel(QStringLiteral("openSubtitlesTestResult")))
    , m_cacheDays(new QSpinBox(this))
    , m_ignoreCache(new QCheckBox(tr("Always ask the services again (ignore the cache)"), this))
{
    setObjectName(QStringLiteral("servicesTab"));
    m_tmdbKey->setObjectName(QStringLiteral("tmdbApiKeyTF"));
    m_tmdbKey->setEchoMode(QLineEdit::PasswordEchoOnEdit);
    m_tmdbKey->setPlaceholderText(tr("API key (v3) or API Read Access Token (v4)"));
    m_tmdbKey->setToolTip(tr("From themoviedb.org/settings/api: either the API key or the API Read Access Token"));
    m_environmentNote->setObjectName(QStringLiteral("tmdbEnvironmentNote"));
    m_environmentNote->setWordWrap(true);

    auto *tmdb = new QGroupBox(tr("The Movie Database (TMDb)"), this);
    auto *tmdbForm = new QFormLayout(tmdb);
    tmdbForm->addRow(tr("&Key:"), m_tmdbKey);
    tmdbForm->addRow(m_environmentNote);
    QPushButton *testTmdb = testButton(QStringLiteral("testTmdbBTN"), m_tmdbResult, [this] {
        const QString typed = m_tmdbKey->text().trimmed();
        ServiceCheck::checkTmdb(typed.isEmpty() ? ServiceConfig::tmdbApiKey() : typed, this,
                                [this](const CheckResult &result) { show(m_tmdbResult, result); });
    });
    tmdbForm->addRow(row(tmdb, testTmdb, m_tmdbResult));

    auto *others = new QGroupBox(tr("Other services"), this);
    auto *othersForm = new QFormLayout(others);
    QPushButton *testStore = testButton(QStringLiteral("testStoreBTN"), m_storeResult, [this] {
        ServiceCheck::checkStore(this, [this](const CheckResult &result) { show(m_storeResult, result); });
    });
    othersForm->addRow(tr("Store genre (iTunes):"), row(others, testStore, m_storeResult));
    QPushButton *testOpenSubtitles = testButton(QStringLiteral("testOpenSubtitlesBTN"), m_openSubtitlesResult, [this] {
        ServiceCheck::checkOpenSubtitles(this, [this](const CheckResult &result) { show(m_openSubtitlesResult, result); });
    });
    othersForm->addRow(tr("OpenSubtitles:"), row(others, testOpenSubtitles, m_openSubtitlesResult));

    m_cacheDays->setObjectName(QStringLiteral("cacheDaysSB"));
    m_cacheDays->setRange(1, 365);
    m_cacheDays->setSuffix(tr(" days"));
    m_ignoreCache->setObjectName(QStringLiteral("ignoreCacheCB"));
    auto *empty = new QPushButton(tr("&Empty the Cache"), this);
    empty->setObjectName(QStringLiteral("emptyCacheBTN"));
    auto *cache = new QGroupBox(tr("Lookup cache"), this);
    auto *cacheForm = new QFormLayout(cache);
    cacheForm->addRow(tr("Keep answers for:"), m_cacheDays);
    cacheForm->addRow(m_ignoreCache);
    auto *where = new QLabel(QDir::toNativeSeparators(AnswerCache::root()), cache);
    where->setTextInteractionFlags(Qt::TextSelectableByMouse);
    cacheForm->addRow(row(cache, empty, where));
    connect(empty, &QPushButton::clicked, this, [] {
        AnswerCache(QStringLiteral("tmdb")).clear();
        AnswerCache(QStringLiteral("store")).clear();
    });

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tmdb);
    layout->addWidget(others);
    layout->addWidget(cache);
    layout->addStretch(1);
}

QLabel *ServicesTab::resultLabel(const QString &objectName)
{
    auto *label = new QLabel(this);
    label->setObjectName(objectName);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QPushButton *ServicesTab::testButton(const QString &objectName, QLabel *result, std::function<void()> test)
{
    auto *button = new QPushButton(tr("Test"), this);
    button->setObjectName(objectName);
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, [result, test] {
        result->setText(tr("Testing..."));
        test();
    });
    return button;
}

void ServicesTab::show(QLabel *label, const CheckResult &result)
{
    const QString mark = result.ok() ? QStringLiteral("\u2714 ") : QStringLiteral("\u2716 ");
    label->setText(mark + result.sentence() + QLatin1Char('.'));
}

void ServicesTab::load()
{
    m_tmdbKey->setText(ServiceConfig::storedTmdbApiKey());
    const bool fromEnvironment = !qEnvironmentVariable("KINOVELA_TMDB_API_KEY").isEmpty();
    m_environmentNote->setText(fromEnvironment ? tr("KINOVELA_TMDB_API_KEY is set in the environment: it is used instead "
                                                    "of the key above.")
                                               : QString());
    m_environmentNote->setVisible(fromEnvironment);
    m_cacheDays->setValue(AnswerCache::lifetimeDays());
    m_ignoreCache->setChecked(AnswerCache::ignored());
    for (QLabel *label : {m_tmdbResult, m_storeResult, m_openSubtitlesResult})
        label->clear();
}

void ServicesTab::store()
{
    ServiceConfig::storeTmdbApiKey(m_tmdbKey->text());
    AnswerCache::storeLifetimeDays(m_cacheDays->value());
    AnswerCache::storeIgnored(m_ignoreCache->isChecked());
}
