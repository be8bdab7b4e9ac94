#pragma once

#include "base/MovieItemKeys.h"
#include "base/Preset.h"

#include <QString>
#include <QStringList>

/** What the creation batch does with one item. */
enum class CreationAction { TagInPlace, TagAndMove, Convert };

/** Pure planning of one item's creation: the action, the output paths, the converter's argument list. */
namespace ConverterArguments {

/** Tag in place or tag and move an identified MP4 (presets 1 and 2); convert everything else. */
CreationAction creationActionForItem(const MovieItem &item, Preset preset);
/** The same, with what is known of the source file (a missing source is "converted", which fails and keeps nothing). */
CreationAction creationActionForItem(const MovieItem &item, Preset preset, bool sourceExists);
/** destination + "/" + the movie's safe file name (see FileNames::movieFileName). */
QString finalMoviePath(const MovieItem &item, const QString &destinationFolder);
/** Beside @p finalPath: "<title> (unfinished @p token).mp4", fitting the name limit. */
QString temporaryMoviePath(const QString &finalPath, const QString &token);
/** The converter's arguments (without the program): inputs, stream mapping, subtitle, output. */
QStringList converterArgumentsForItem(const MovieItem &item, const QString &temporaryPath, const QString &subtitleLanguage);

/** The converter's input format for a saved subtitle, from its extension: "srt", "microdvd", "subviewer", "webvtt", "ass". */
QString subtitleInputFormat(const QString &subtitlePath);

/** The keys an item must hold to be created; empty when it has them all, else the first missing one. */
QString missingKey(const MovieItem &item);

QString actionName(CreationAction action);

} // namespace ConverterArguments
