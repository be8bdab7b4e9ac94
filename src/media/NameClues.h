#pragma once

#include <QString>

/**
 * What a movie file's name (and the text of an .nfo file) says about the
 * movie, read without asking anyone: the year, the title part, and an
 * identifier someone put there on purpose. Pure functions.
 */
namespace NameClues {

/** A movie named by its identifier: a TMDb id or an IMDb number ("tt0133093"). */
struct Identifier
{
    qint64 tmdbID = 0;
    QString imdbID;

    bool isEmpty() const { return tmdbID < 1 && imdbID.isEmpty(); }
    /** "TMDb id 603", "IMDb number tt0133093". */
    QString describe() const;
};

/**
 * The release year in a file name: the last four-digit number from 1900 to
 * 2099 standing apart (between separators or brackets) after the first
 * word, so "2001.A.Space.Odyssey.1968" gives 1968 and "1917" alone gives 0.
 * A number that is a word of @p movieTitle is part of the title, not a
 * year ("Blade.Runner.2049" for Blade Runner 2049). 0 when there is none.
 */
int yearIn(const QString &name, const QString &movieTitle = {});

/**
 * The title part of a file name, for comparing with a title: what comes
 * before the year (as yearIn reads it) or the first release tag (720p,
 * BluRay, x264, ...), lower case, with separators and punctuation as
 * single spaces.
 */
QString titleIn(const QString &name, const QString &movieTitle = {});

/** The same folding applied to a movie's title: lower case, punctuation as single spaces. */
QString folded(const QString &title);

/** "{tmdb-603}", "[tmdbid-603]" or an IMDb number such as tt0133093 standing apart in @p text; empty when none. */
Identifier identifierIn(const QString &text);

/**
 * The identifier an .nfo file gives: a TMDb id ("<tmdbid>", a
 * "<uniqueid type="tmdb">", a themoviedb.org/movie/ address) before an IMDb
 * number; empty when none.
 */
Identifier identifierInNfo(const QString &contents);

} // namespace NameClues
