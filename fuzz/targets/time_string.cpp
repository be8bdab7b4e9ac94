// Clock times ("01:02:03.45") read from tool output.
#include "media/Utils.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const double seconds = Utils::getSecondsFromTimeString(text);
    (void)Utils::getTimeStringFromSeconds(seconds);
    (void)Utils::getBeautifiedDurationFromSeconds(seconds);
    return 0;
}
