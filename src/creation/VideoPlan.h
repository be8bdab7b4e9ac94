#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

/**
 * The modern profile's choice for the video: copy what Apple players play
 * (8-bit 4:2:0 H.264, HEVC written as "hvc1", keeping its HDR10 signalling
 * and, where the converter can write it, Dolby Vision), re-encode the rest:
 * SDR to H.264, HDR to 10-bit HEVC with the source's colour signalling,
 * never tone-mapped.
 */
namespace VideoPlan {

struct Decision
{
    QString action;      ///< "copy" or "encode"
    QString outputCodec; ///< "h264" or "hevc"
    QString reason;
    QStringList options;       ///< per-stream converter options; "%1" stands for the output stream's index
    QStringList globalOptions; ///< options for the whole output ("-strict unofficial" for Dolby Vision)
};

/** Decides for one ffprobe stream object of kind video. */
Decision decide(const QVariantMap &stream);

/** Whether the stream's transfer is HDR (PQ or HLG). */
bool isHdr(const QVariantMap &stream);

/** The x265 parameters that repeat the stream's colour signalling, mastering display and light level. */
QString x265ColourParameters(const QVariantMap &stream);

} // namespace VideoPlan
