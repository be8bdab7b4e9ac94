#pragma once

#include <QString>
#include <QVariantMap>

/**
 * The language movies and subtitles are searched in: one entry of the
 * language list ("alpha3-b", "alpha2", "English"). TMDb takes the two-letter
 * code, the converter's subtitle track and the XML-RPC service the
 * three-letter one.
 */
struct SearchLanguage
{
    QString alpha3b;
    QString alpha2;
    QString english;

    /** English: "eng", "en", "English". */
    static SearchLanguage defaultLanguage();
    static SearchLanguage fromMap(const QVariantMap &entry);
    QVariantMap toMap() const;

    /**
     * The language to search in now: the run override, else the stored
     * setting, else English when neither names a two-letter code.
     */
    static SearchLanguage current();

    /** The three-letter code, "eng" when there is none. */
    QString alpha3bOrEnglish() const;
};
