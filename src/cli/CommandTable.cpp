#include "cli/CommandTable.h"

namespace CommandTable {

namespace {

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

Option json()
{
    return {{text("--json")}, {}, text("Print one JSON document on standard output instead of text.")};
}

Option language()
{
    return {{text("--language")},
            text("L"),
            text("Search TMDb and OpenSubtitles in language L for this run only: a two- or three-letter code or an "
                 "English name from the language list (fr, fre, French). The stored setting is not changed."),
            Completion::Languages};
}

Option preset()
{
    return {{text("--preset")},
            text("N"),
            text("Use preset N (1 to 4, see PRESETS) for this run only. Without it the preset chosen in the window's "
                 "settings applies (3 when none was chosen). The stored setting is not changed."),
            Completion::Presets};
}

Option profile()
{
    return {{text("--profile")},
            text("PROFILE"),
            text("Convert with PROFILE for this run only: classic (the first video and audio; anything but H.264 "
                 "re-encoded, audio other than AAC or AC-3 made stereo AAC) or modern (every audio and text "
                 "subtitle and the chapters kept; H.264, HEVC, AAC, AC-3 and E-AC-3 copied, only the rest "
                 "re-encoded). Without it the profile chosen in the window's settings applies (classic when none "
                 "was chosen). The stored setting is not changed.")};
}

Option stagger()
{
    return {{text("--stagger")},
            text("S"),
            text("Wait S seconds between starting two files of the import (default 0.5; 0 allowed), to spare the "
                 "services.")};
}

Option refresh()
{
    return {{text("--refresh")},
            QString(),
            text("Ask TMDb and the store again instead of taking their answers from the cache (kept for 7 days by "
                 "default); the fresh answers replace the cached ones.")};
}

Option destination()
{
    return {{text("--dest")},
            text("DIR"),
            text("The existing folder the new movies are written to, each named after its title (\"Heat.mp4\")."),
            Completion::Directories,
            true};
}

Option dryRun()
{
    return {{text("--dry-run")},
            QString(),
            text("Print the plan and touch nothing: for each movie the action, the final path, the converter's "
                 "arguments, the streams kept and left out, the tags and what happens to the source. Nothing is "
                 "written to the destination, the sources or the subtitles folder (with preset 4 the subtitles are "
                 "downloaded into the cache only, so the Save that follows spends no download). What create then "
                 "does is this plan.")};
}

Option deleteSources()
{
    return {{text("--delete-sources")},
            QString(),
            text("Delete the sources of converted movies outright instead of moving them to the Trash.")};
}

// Commands that read files or services and change nothing.
QList<Command> lookingCommands()
{
    QList<Command> list;
    list.append({text("probe"), text("FILE..."), Completion::Files,
                 text("show what the probe finds in each file"),
                 text("Runs the probe (ffprobe) on each file and prints what Kinovela sees in it: size, streams, frame "
                      "size, duration and tracks, and whether it is accepted as a movie. Nothing is changed. Exit "
                      "status 1 when a file is not a usable movie."),
                 {json()},
                 text("an array with one object per file: fileFullPath, fileSize, duration, videoWidth, videoHeight, "
                      "tracksInfo, metadata, acceptable and the other fields of the probe."),
                 false, text("kinovela-cli probe --json Heat.1995.avi"), text("Prints the probe of one file as JSON.")});
    list.append({text("hash"), text("FILE..."), Completion::Files,
                 text("print the subtitle hash of each file"),
                 text("Prints the OpenSubtitles hash, the size in bytes and the name of each file: the key a subtitle "
                      "is looked up by. Nothing is changed. Exit status 1 when a file cannot be read."),
                 {json()},
                 text("an array with one object per readable file: file, hash, size."),
                 false, text("kinovela-cli hash Heat.1995.avi"), text("Prints the hash of one file.")});
    list.append({text("identify"), text("NAME..."), Completion::None,
                 text("look a movie up from a file name"),
                 text("Looks each NAME (a file name without its extension, such as The.Dark.Knight.2008) up on TMDb "
                      "the way an import does, and prints the record it would use: title, release date, TMDb and "
                      "IMDb identifiers, store genre, US rating and directors, and how sure the match is: a confidence "
                      "from 0 to 1 with its reasons, \"NEEDS REVIEW\" below the review threshold (also said on "
                      "standard error). Exit status 1 when a NAME is not found."),
                 {language(), refresh(), json()},
                 text("an array with one record per NAME, in order, with every key of the record; images print as "
                      "{\"width\", \"height\", \"resource\"}. A found movie has matchConfidence, matchReasons and "
                      "needsReview."),
                 false, text("kinovela-cli identify The.Dark.Knight.2008"), text("Prints the record of The Dark Knight.")});
    list.append({text("search"), text("TEXT"), Completion::None,
                 text("list the TMDb candidates for a text"),
                 text("Searches TMDb for TEXT and lists the candidates the window offers when you correct a match: "
                      "TMDb id, title and release date, one per line."),
                 {language(), json()},
                 text("an array of candidate records, in TMDb's order."),
                 false, text("kinovela-cli search \"dark knight\""), text("Lists the movies TMDb finds.")});
    return list;
}

// Commands that keep or drop the corrections a person made for a file.
QList<Command> rememberingCommands()
{
    QList<Command> list;
    list.append({text("choose"), text("FILE"), Completion::Files,
                 text("remember the movie of a file"),
                 text("Remembers that FILE is the TMDb movie ID, as choosing a movie in the window's Find Movie does: "
                      "every later import of the file (found by its movie hash, so also when renamed or moved) takes "
                      "that movie without searching and says so in its reasons. Prints the movie chosen. Exit status 1 "
                      "when TMDb has no movie ID or the file cannot be hashed (shorter than 64 KiB)."),
                 {{{text("--tmdb")}, text("ID"), text("The TMDb id of the movie, as search prints it."), Completion::None,
                   true},
                  json()},
                 text("an object: file, movieTMDBID, movieTitle, movieReleaseYear."),
                 false, text("kinovela-cli choose --tmdb 949 Heat.2003.avi"),
                 text("Remembers Heat (1995) for this file, whatever its name says.")});
    list.append({text("forget"), text("FILE..."), Completion::Files,
                 text("forget the choices remembered for files"),
                 text("Forgets the movie and the subtitle remembered for each FILE, so the next import identifies it "
                      "from its name again. A file that is gone is found by the path it had. Says which files had "
                      "nothing remembered. Exit status 1 when the store cannot be written."),
                 {json()},
                 text("an array with one object per FILE: file, forgotten (false when nothing was remembered)."),
                 false, text("kinovela-cli forget Heat.2003.avi"), text("Forgets the movie chosen for this file.")});
    return list;
}

QList<Command> makeCommands()
{
    QList<Command> list = lookingCommands();
    list.append({text("import"), text("FILE..."), Completion::Files,
                 text("identify the files and print the movie list"),
                 text("Imports the files as the window does: probes each one, identifies the movie from the file name, "
                      "completes the metadata (cast and crew, US rating, store genre, poster) and, with preset 4, "
                      "downloads a subtitle into ~/Subtitles. A movie chosen for a file before (see choose) or named by "
                      "an identifier beside it ({tmdb-949}, tt0113277, an .nfo file) wins over the name. Prints the "
                      "movie list with each match's confidence; the matches that need review are also named on "
                      "standard error. The files are not changed. Exit status 1 when a file is not a movie file (it is "
                      "skipped)."),
                 {preset(), language(), stagger(), refresh(), json()},
                 text("the movie list, in list order, with every key of every item."),
                 true, text("kinovela-cli import --preset 4 The.Dark.Knight.2008.mkv"),
                 text("Lists the movie with the subtitle it found.")});
    list.append({text("create"), text("FILE..."), Completion::Files,
                 text("import the files and save them as tagged MP4 files"),
                 text("Imports the files, then saves them into DIR as the window's Save does: each file is tagged, "
                      "moved or converted according to the preset (see PRESETS) and gets its tags, cover and, with "
                      "preset 4, its subtitle. Standard error shows one line per movie. ")
                     + convertedSourceFate()
                     + text(" Exit status 1 when a file was skipped or a movie was not created."),
                 {destination(), preset(), profile(), language(), stagger(), dryRun(), deleteSources(), refresh(), json()},
                 text("an object with \"items\" (the movie list, as import prints it), \"plan\" (what --dry-run "
                      "prints: destination, summary and per item serialNumber, source, movieTitle, action, status "
                      "(ready, renamed, skipped or fails, with a reason), finalPath, sourceFate (taggedInPlace, moved, "
                      "trash, deleted or kept), tags, and for a conversion temporaryPath, arguments, streams and notes) "
                      "and \"results\": one object per item with source, action (tag, move or convert), outputPath, "
                      "outcome (created or failed), movieTitle, sourceFate (where the source went), verdict (what the "
                      "check of the written movie found: \"plays on Apple TV\", or what will not and why), notes "
                      "(streams the conversion left out), and reason when it failed. With --dry-run, the plan alone."),
                 true, text("kinovela-cli create --dest ~/Movies --preset 3 Alien.1979.mp4 Heat.1995.avi"),
                 text("Converts both files into ~/Movies as \"Alien.mp4\" and \"Heat.mp4\". With --preset 1, "
                      "Alien.1979.mp4 would be tagged where it lies instead.")});
    list.append({text("undo"), QString(), Completion::None,
                 text("undo the last Save"),
                 text("Takes the last Save back, from the journal every Save keeps: the sources it moved to the Trash "
                      "come back to their places, movies it moved are moved back, tags it wrote into movies in place "
                      "are put back byte for byte, and the files it created are removed, unless one was changed since "
                      "the Save (it is kept and named). Nothing is ever replaced. Prints what was undone and what was "
                      "left. Exit status 1 when there is nothing to undo or something had to be left as it is."),
                 {json()},
                 text("an object: complete, summary, saveStarted, destination and movies, one object per movie with "
                      "source, movieTitle, undone (what was taken back) and left (what was kept, and why)."),
                 false, text("kinovela-cli undo"), text("Undoes the last Save.")});
    list.append(rememberingCommands());
    list.append({text("doctor"), QString(), Completion::None,
                 text("check the programs, services and folders Kinovela needs"),
                 text("Checks ffprobe and ffmpeg (found, version, the encoders libx264, aac and mov_text), each web "
                      "service (TMDb: reachable and the key accepted; the store genre search; OpenSubtitles: the key "
                      "and the download quota when known) and the folders (settings, subtitles, cache). Prints one "
                      "line per check, each failure with what to do about it. Exit status 1 when something Kinovela "
                      "needs is broken (a program, the TMDb key, the settings folder); the store, OpenSubtitles and "
                      "the other folders only warn."),
                 {json()},
                 text("an array with one object per check: name, state (ok, warning or failed), text, advice and "
                      "needed (true when the failure makes the exit status 1)."),
                 false, text("kinovela-cli doctor"), text("Checks everything and says what to fix.")});
    list.append({text("help"), text("[COMMAND]"), Completion::Commands,
                 text("explain a command"),
                 text("Explains COMMAND: its options, the presets, the environment and the exit statuses. Without "
                      "COMMAND, lists the commands."),
                 {}, {}, false, text("kinovela-cli help create"), text("Explains create.")});
    return list;
}

} // namespace

QString Command::synopsis() const
{
    QStringList parts{name};
    for (const Option &option : options) {
        const QString usage = option.value.isEmpty() ? option.longName() : option.longName() + QLatin1Char(' ') + option.value;
        parts.append(option.required ? usage : QLatin1Char('[') + usage + QLatin1Char(']'));
    }
    if (!arguments.isEmpty())
        parts.append(arguments);
    return parts.join(QLatin1Char(' '));
}

QString about()
{
    return text("kinovela-cli turns movie files into tagged MP4 files, as the Kinovela window does: it probes each file "
                "with ffprobe, identifies the movie on TMDb from the file name, completes the metadata (cast and crew, "
                "US rating, store genre, poster), fetches a subtitle from OpenSubtitles when asked, and tags, moves or "
                "converts (ffmpeg) every file. Standard output carries only what was asked for (text, or JSON with "
                "--json); standard error carries the progress bar (on a terminal), one line per movie, warnings and "
                "errors.");
}

QString convertedSourceFate()
{
    return text("A converted source goes to the Trash (or, with --delete-sources, is deleted) only after the new movie "
                "is checked against it, flushed to the disk and has its final name; a movie is never written over, a name "
                "that is taken fails that movie before any work, and when anything fails the source is kept as it was.");
}

const QList<Command> &commands()
{
    static const QList<Command> list = makeCommands();
    return list;
}

const Command *find(const QString &name)
{
    for (const Command &command : commands()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

const QList<Option> &globalOptions()
{
    static const QList<Option> list{
        {{text("-v"), text("--verbose")}, {},
         text("Also show the diagnostic lines on standard error: what each service was asked and answered, the "
              "converter's output.")},
        {{text("-q"), text("--quiet")}, {}, text("Show errors only: no progress bar, no result lines, no warnings.")},
        {{text("--log")}, text("FILE"),
         text("Append every line, the diagnostic lines and the converter's output included, to FILE (created when "
              "missing). A movie that failed names FILE as the place to read more."),
         Completion::Files},
        {{text("-h"), text("--help")}, {}, text("Explain the command and exit.")},
    };
    return list;
}

QList<Entry> presets()
{
    return {
        {text("1"), text("Tag in place: an identified MP4 file is tagged where it lies and stays there. Any other file "
                         "is converted into the destination.")},
        {text("2"), text("Tag and move: an identified MP4 file is tagged and moved into the destination. Any other file "
                         "is converted into the destination.")},
        {text("3"), text("Convert (the default): every file, MP4 or not, is converted into a new MP4 file in the "
                         "destination.")},
        {text("4"), text("Convert with subtitles: as 3, and the import downloads a subtitle from OpenSubtitles, which "
                         "is added to the new file as a text track.")},
    };
}

QList<Entry> environment()
{
    return {
        {text("KINOVELA_TMDB_API_URL"), text("TMDb's API address (default https://api.themoviedb.org).")},
        {text("KINOVELA_TMDB_IMAGE_URL"), text("TMDb's image address (default https://image.tmdb.org).")},
        {text("KINOVELA_TMDB_API_KEY"),
         text("the TMDb credential: a v3 API key or a v4 read access token (default: the key entered in the window's "
              "Settings > Services, else the one the build carries).")},
        {text("KINOVELA_ITUNES_URL"), text("the store search address (default https://itunes.apple.com).")},
        {text("KINOVELA_ITUNES_GENRES_URL"), text("the store genre list address (default https://itunes.apple.com).")},
        {text("KINOVELA_OPENSUBTITLES_URL"),
         text("the OpenSubtitles XML-RPC service, used when no API key is set (default "
              "https://api.opensubtitles.org:443/xml-rpc).")},
        {text("KINOVELA_OPENSUBTITLES_REST_URL"),
         text("the OpenSubtitles REST service (default https://api.opensubtitles.com/api/v1).")},
        {text("KINOVELA_OPENSUBTITLES_API_KEY"),
         text("the OpenSubtitles API key (default: the one from the settings); when set, subtitles come from the REST "
              "service.")},
        {text("KINOVELA_OPENSUBTITLES_USER, KINOVELA_OPENSUBTITLES_PASSWORD"),
         text("the OpenSubtitles account (default: the one from the settings; the password is kept in the system "
              "keychain).")},
        {text("KINOVELA_HTTP_TIMEOUT_MS"), text("how long a web request may take, in milliseconds (default 30000).")},
        {text("KINOVELA_STORE_INTERVAL_MS"),
         text("the time between two store genre requests, in milliseconds (default 3500: 17 a minute, under the store's "
              "20).")},
        {text("KINOVELA_STORE_RETRY_MS"),
         text("how long to wait before asking the store again after it refused a request as too many (403), in "
              "milliseconds (default 60000).")},
        {text("KINOVELA_FFPROBE, KINOVELA_FFMPEG"),
         text("the probe and converter programs (default: sniffer and creator beside the executable, else ffprobe "
              "and ffmpeg on PATH).")},
    };
}

QList<Entry> exitStatuses()
{
    return {
        {text("0"), text("everything asked for was done.")},
        {text("1"), text("some file or movie failed; each failure is named on standard error, in one line.")},
        {text("2"), text("usage error: an unknown command or option, or a missing or wrong value; the message says "
                         "which.")},
    };
}

QList<Entry> files()
{
    return {
        {text("$XDG_CONFIG_HOME/Kinovela/Kinovela.conf"),
         text("the settings: search language and conversion preset (XDG_CONFIG_HOME defaults to ~/.config).")},
        {text("~/Subtitles"), text("the subtitles downloaded for preset 4.")},
        {text("$XDG_DATA_HOME/Kinovela/Kinovela/corrections.json"),
         text("the movies and subtitles chosen for files, by movie hash (see choose and forget; XDG_DATA_HOME defaults "
              "to ~/.local/share).")},
        {text("$XDG_DATA_HOME/Kinovela/Kinovela/saves"),
         text("the journals of the last ten Saves, each with the headers of the movies it tagged in place (see "
              "undo).")},
        {text("$XDG_CACHE_HOME/Kinovela"),
         text("answers of TMDb, the store and OpenSubtitles, kept for 7 days so that importing the same files again "
              "asks nothing (XDG_CACHE_HOME defaults to ~/.cache; --refresh asks again).")},
    };
}

QStringList flagNames(const Command &command)
{
    QStringList names;
    for (const Option &option : command.options) {
        if (option.value.isEmpty())
            names.append(option.longName());
    }
    return names;
}

QStringList valueOptionNames(const Command &command)
{
    QStringList names;
    for (const Option &option : command.options) {
        if (!option.value.isEmpty())
            names.append(option.longName());
    }
    return names;
}

} // namespace CommandTable
