#pragma once

#include <QString>

/**
 * Finds the two FFmpeg programs: the probe ("sniffer", ffprobe) and the
 * converter ("creator", ffmpeg). In order: the environment variable
 * (KINOVELA_FFPROBE / KINOVELA_FFMPEG), a program named sniffer/creator
 * beside the running executable, then ffprobe/ffmpeg on PATH.
 * An empty result means the program cannot be found.
 */
namespace ToolLocator {

QString probeProgram();
QString converterProgram();

} // namespace ToolLocator
