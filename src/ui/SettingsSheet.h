#pragma once

#include <QDialog>

class AppCore;
class QButtonGroup;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class ServicesTab;

/**
 * Settings ("settingsWindow"): the search language (common
 * languages first, then all by name), what Save does with the files (the
 * preset radio group "radioBTNsGroup", each choice saying what happens to
 * the originals), the confidence below which a match needs review, and the
 * subtitle service (which one, the account, the downloads left today) on
 * the "General" tab; the TMDb key, a Test button per service and the
 * lookup cache on the "Services" tab (ServicesTab). The preset and language
 * act at once; OK stores them, Cancel (Escape) puts back what was there
 * when the sheet opened.
 */
class SettingsSheet : public QDialog
{
    Q_OBJECT
public:
    SettingsSheet(AppCore *core, QWidget *parent);

    /** Fills the language list from the core (after its launch sequence) and shows the live settings. */
    void load();
    void openSheet();

    /** The languages offered first, by their English names. */
    static QStringList commonLanguages();
    /** What each preset does to the files, as the sheet says it. */
    static QString presetTitle(int preset);
    static QString presetDescription(int preset);

public Q_SLOTS:
    void accept() override;
    void reject() override;

private:
    void showLanguage(int coreIndex);

    AppCore *m_core;
    QComboBox *m_language;
    QButtonGroup *m_presets;
    QComboBox *m_provider;
    QLabel *m_allowance;
    QComboBox *m_profile; ///< the conversion profile, stored when the sheet is confirmed
    QLineEdit *m_apiKey;
    QLineEdit *m_user;
    QLineEdit *m_password;
    QDoubleSpinBox *m_reviewThreshold;
    ServicesTab *m_services;
    int m_presetWhenOpened = 0;
    int m_languageWhenOpened = -1;
};
