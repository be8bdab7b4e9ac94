#pragma once

#include "base/ItemImage.h"

#include <QString>
#include <QtGlobal>

/** One poster a person can choose for a movie: its TMDb path and a small picture of it. */
struct PosterChoice
{
    QString posterPath;
    ItemImage thumbnail;
};

/** One subtitle a service offers for a movie, as the subtitle window lists it. */
struct SubtitleCandidate
{
    QString fileName;
    QString uploaderName;
    /** When it was uploaded, as the service writes it; the list shows the newest first. */
    QString approximateTime;
    qint64 fileID = 0;
    /** "srt", "sub", ... */
    QString format;
};
