#pragma once

#include "base/MovieItemKeys.h"

/** The iTunes cast-and-crew property list (iTunMOVI) of a movie item. */
class MetadataParsingHelper
{
public:
    MetadataParsingHelper() = delete;

    /** XML property list with "cast", "directors", "producers", "screenwriters" (name lists) and "studio". */
    static QString getPLISTWithDict(const MovieItem &item);
};
