#include "subtitles/SubtitleProvider.h"

#include "subtitles/OpenSubsAccess.h"
#include "subtitles/OpenSubtitlesRest.h"
#include "subtitles/SubtitleCredentials.h"

Outcome<std::shared_ptr<SubtitleProvider>> SubtitleProvider::create()
{
    if (SubtitleCredentials::provider() == SubtitleCredentials::Provider::Legacy)
        return std::shared_ptr<SubtitleProvider>(std::make_shared<OpenSubsAccess>());
    const QString apiKey = SubtitleCredentials::effectiveApiKey();
    if (apiKey.isEmpty())
        return failure(ErrorKind::Missing, QStringLiteral("No OpenSubtitles API key: enter one in the settings or set "
                                                          "KINOVELA_OPENSUBTITLES_API_KEY to search for subtitles"));
    return std::shared_ptr<SubtitleProvider>(
        std::make_shared<OpenSubtitlesRest>(apiKey, SubtitleCredentials::userName(), SubtitleCredentials::password()));
}
