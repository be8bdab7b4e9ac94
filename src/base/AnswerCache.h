#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/**
 * Answers of a web service kept on disk, under
 * $XDG_CACHE_HOME/Kinovela/<kind> (~/.cache when the variable is unset), one
 * file per key, so that asking the same again sends no request. An answer
 * is used while it is younger than the lifetime in days (the setting
 * "lookupCacheDays", 7 by default). The setting "ignoreLookupCache", or
 * refresh() for one run (`--refresh`), makes every lookup ask the service
 * again; the fresh answers still replace the stored ones.
 */
class AnswerCache
{
public:
    explicit AnswerCache(QString kind);

    static inline const QString lifetimeKey = QStringLiteral("lookupCacheDays");
    static inline const QString ignoreKey = QStringLiteral("ignoreLookupCache");
    static constexpr int DefaultLifetimeDays = 7;

    /** $XDG_CACHE_HOME/Kinovela */
    static QString root();
    QString folder() const;

    /** The stored answer for @p key while it is young enough and the cache is not ignored. */
    std::optional<QByteArray> find(const QString &key) const;
    void store(const QString &key, const QByteArray &answer) const;
    /** Forgets every answer of this kind. */
    void clear() const;

    /** The lifetime of an answer, in days (the setting, 1 to 365). */
    static int lifetimeDays();
    static void storeLifetimeDays(int days);
    /** The stored answers are not read (the setting, or refresh() for this run). */
    static bool ignored();
    static void storeIgnored(bool ignored);
    /** For this run only: ask the services again and store what they answer. */
    static void refresh(bool on);

private:
    QString pathOf(const QString &key) const;

    QString m_kind;
};
