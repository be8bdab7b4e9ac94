#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/**
 * Search answers and downloaded subtitle files of the subtitle service, kept
 * on disk under $XDG_CACHE_HOME/Kinovela/opensubtitles (~/.cache when the
 * variable is unset), so that importing the same files again sends no
 * search and spends no download. Search answers are keyed by what was asked
 * (movie hash or IMDb number, and language) and kept a week; files by the
 * service's file id, kept until the cache is emptied.
 */
namespace SubtitleCache {

inline constexpr int SearchLifetimeDays = 7;

QString folder();
void ensureFolder();

/** A stored search answer younger than a week. */
std::optional<QByteArray> search(const QString &key);
void storeSearch(const QString &key, const QByteArray &answer);

std::optional<QByteArray> file(qint64 fileID);
void storeFile(qint64 fileID, const QByteArray &content);

/** Empties the cache. */
void clear();

} // namespace SubtitleCache
