#pragma once

#include <QString>
#include <QUrl>

/**
 * Where the outside services and programs are. Every address can be moved
 * with an environment variable (tests point them at stand-in servers on
 * 127.0.0.1); the defaults are the real services.
 */
namespace ServiceConfig {

QString tmdbApiUrl();        // KINOVELA_TMDB_API_URL, requests append /3/...
QString tmdbImageUrl();      // KINOVELA_TMDB_IMAGE_URL, requests append /t/p/...
/**
 * The TMDb credential: a v3 API key or a v4 read access token.
 * KINOVELA_TMDB_API_KEY, else the one stored in the settings ("tmdbApiKey"),
 * else the distributor's key given at build time; empty when there is none.
 */
QString tmdbApiKey();
void storeTmdbApiKey(const QString &key);
/** The key stored in the settings, whatever the environment says; empty when none. */
QString storedTmdbApiKey();
QString itunesUrl();         // KINOVELA_ITUNES_URL, requests append /search?...
QString itunesGenresUrl();   // KINOVELA_ITUNES_GENRES_URL, requests append /WebObjects/...
QString openSubtitlesUrl();  // KINOVELA_OPENSUBTITLES_URL, the XML-RPC endpoint
QString openSubtitlesRestUrl(); // KINOVELA_OPENSUBTITLES_REST_URL, the REST API base (requests append /subtitles ...)

/** Total time a web request may take, in milliseconds (KINOVELA_HTTP_TIMEOUT_MS, default 30000). */
int httpTimeoutMs();

/** The folder subtitles are saved in: $HOME/Subtitles; empty when there is no HOME. */
QString subtitlesFolder();

/** The value of an environment variable, or `fallback` when unset or empty. */
QString fromEnvironment(const char *name, const QString &fallback);

} // namespace ServiceConfig
