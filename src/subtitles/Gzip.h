#pragma once

#include <QByteArray>

#include <optional>

/** gzip detection and inflation for downloaded subtitles, with a size cap. */
namespace Gzip {

inline constexpr qsizetype MaxInflatedSize = 50 * 1024 * 1024;

bool isGzip(const QByteArray &data);
/** The inflated bytes; nothing for damaged or truncated data, or output beyond `limit`. */
std::optional<QByteArray> inflate(const QByteArray &data, qsizetype limit = MaxInflatedSize);

} // namespace Gzip
