#pragma once

#include "base/MovieItemKeys.h"

class FileProbe;

/** The file facts of a movie item, built from the probe of an accepted file. */
namespace MovieItemFacts {

/** The 17 file-fact keys; `serialNumber` is the file's index in the chosen list. */
MovieItem fromProbe(const FileProbe &probe, int serialNumber);

/** "codec(info)" of every track of `type`, in track order, joined with ", ". */
QString trackSummary(const QVariantList &tracks, const QString &type);

} // namespace MovieItemFacts
