#pragma once

#include <QString>
#include <QVariantList>
#include <QVariantMap>

/**
 * The list of search languages, read from the JSON resource
 * "language-codes-3b2" (generated from Debian's iso-codes by
 * scripts/make-language-list): an array of maps with "alpha3-b", "alpha2"
 * and "English", in file order.
 */
class LanguageList
{
public:
    enum class Status { Loaded, Missing, Unreadable, InvalidJson };

    /** Loads from the compiled-in resource, or from `path` when given. */
    static LanguageList load(const QString &path = QString());

    Status status() const { return m_status; }
    /** The reading error's description when status() is Unreadable. */
    QString errorText() const { return m_errorText; }
    const QVariantList &entries() const { return m_entries; }

    /** The entry whose alpha2, alpha3-b or English name (any letter case) is `code`; empty when none. */
    QVariantMap find(const QString &code) const;
    /** Index of the entry equal to `language`, or -1. */
    qsizetype indexOf(const QVariantMap &language) const;

    static QString resourcePath();

private:
    Status m_status = Status::Missing;
    QString m_errorText;
    QVariantList m_entries;
};
