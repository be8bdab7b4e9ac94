#pragma once

#include "app/Corrections.h"
#include "media/NameClues.h"

#include <QString>

#include <optional>

/**
 * What is known of a movie file before anyone is asked: its name, the
 * year its name or folder gives, an identifier beside it (in the file
 * name, the folder name or an .nfo file next to it), its duration, and the
 * correction a person made for it earlier. The movie lookup reads these to
 * choose the movie and to say how sure it is.
 */
struct FileClues
{
    /** The file name without its extension ("fileString"), as the search takes it. */
    QString movieName;
    /** The year in the name, else in the folder's name; 0 when neither has one. */
    int year = 0;
    double durationSeconds = 0;
    NameClues::Identifier identifier;
    /** Where the identifier was found: "in the folder name", "in Heat.nfo". */
    QString identifierPlace;
    /** The file's key in the corrections store and what it remembers. */
    QString fileKey;
    std::optional<Corrections::Memory> memory;

    /** Clues of a bare name (no file): its year and identifier. */
    static FileClues forName(const QString &movieName);

    /**
     * Clues of the file at @p path: reads its hash, an .nfo beside it and
     * the corrections store, so it belongs on a worker thread. The duration
     * is the caller's to fill in from the probe.
     */
    static FileClues forFile(const QString &path);
};
