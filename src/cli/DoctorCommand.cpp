#include "app/ServiceCheck.h"
#include "base/AnswerCache.h"
#include "base/ServiceConfig.h"
#include "base/ToolLocator.h"
#include "cli/CliSupport.h"
#include "cli/Commands.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>

#include <algorithm>
#include <optional>

namespace Commands {

namespace {

using State = CheckResult::State;

CheckResult check(const QString &name, State state, const QString &text, const QString &advice, bool needed)
{
    return CheckResult{name, state, text, advice, needed && state == State::Failed};
}

/** What the program printed, or nothing when it could not be run in time. */
std::optional<QByteArray> outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(15000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        process.kill();
        process.waitForFinished(1000);
        return std::nullopt;
    }
    return process.readAllStandardOutput();
}

/** "ffmpeg version 5.1.6-0+deb12u1 Copyright ..." -> "5.1.6-0+deb12u1" */
QString versionIn(const QByteArray &output)
{
    const QList<QByteArray> words = output.left(output.indexOf('\n')).split(' ');
    const qsizetype at = words.indexOf(QByteArrayLiteral("version"));
    return at >= 0 && at + 1 < words.size() ? QString::fromUtf8(words.at(at + 1)) : QStringLiteral("unknown version");
}

CheckResult toolCheck(const QString &name, const QString &program, const char *variable, QString *version)
{
    const QString install = QStringLiteral("install ffmpeg (sudo apt install ffmpeg) or set %1 to the program")
                                .arg(QLatin1String(variable));
    if (program.isEmpty())
        return check(name, State::Failed, QStringLiteral("not found"), install, true);
    const std::optional<QByteArray> output = outputOf(program, {QStringLiteral("-version")});
    if (!output)
        return check(name, State::Failed, QStringLiteral("%1 does not run").arg(program), install, true);
    *version = versionIn(*output);
    return check(name, State::Ok, QStringLiteral("%1 (%2)").arg(*version, program), {}, true);
}

QList<CheckResult> toolChecks()
{
    QString version;
    QList<CheckResult> checks{toolCheck(QStringLiteral("ffprobe"), ToolLocator::probeProgram(), "KINOVELA_FFPROBE", &version)};
    const QString converter = ToolLocator::converterProgram();
    CheckResult ffmpeg = toolCheck(QStringLiteral("ffmpeg"), converter, "KINOVELA_FFMPEG", &version);
    checks.append(ffmpeg);
    if (!ffmpeg.ok())
        return checks;
    // The encoders a conversion uses: H.264 video, AAC sound, text subtitles.
    const QByteArray encoders = outputOf(converter, {QStringLiteral("-hide_banner"), QStringLiteral("-encoders")}).value_or(QByteArray());
    QStringList missing;
    for (const char *encoder : {"libx264", "aac", "mov_text"}) {
        if (!encoders.contains(QByteArray(QByteArray(" ") + encoder + QByteArray(" "))))
            missing.append(QLatin1String(encoder));
    }
    checks.append(missing.isEmpty()
                      ? check(QStringLiteral("ffmpeg encoders"), State::Ok, QStringLiteral("libx264, aac and mov_text"), {}, true)
                      : check(QStringLiteral("ffmpeg encoders"), State::Failed,
                              QStringLiteral("missing: ") + missing.join(QStringLiteral(", ")),
                              QStringLiteral("install an ffmpeg built with them (Debian's ffmpeg package has all three)"),
                              true));
    return checks;
}

/** A folder Kinovela writes to: there and writable, or one that can be made when first needed. */
CheckResult folderCheck(const QString &name, const QString &folder, bool needed)
{
    const State failed = needed ? State::Failed : State::Warning;
    if (folder.isEmpty())
        return check(name, failed, QStringLiteral("there is none (no home folder)"), QStringLiteral("set HOME"), needed);
    QFileInfo info(folder);
    if (info.exists()) {
        if (info.isDir() && info.isWritable())
            return check(name, State::Ok, folder, {}, needed);
        return check(name, failed, folder + QStringLiteral(" is not a writable folder"),
                     QStringLiteral("make it one you can write to"), needed);
    }
    QString parent = QFileInfo(folder).absolutePath();
    while (!QFileInfo::exists(parent) && parent != QDir::rootPath())
        parent = QFileInfo(parent).absolutePath();
    if (QFileInfo(parent).isDir() && QFileInfo(parent).isWritable())
        return check(name, State::Ok, folder + QStringLiteral(" (made when first needed)"), {}, needed);
    return check(name, failed, folder + QStringLiteral(" cannot be made"),
                 QStringLiteral("make %1 writable").arg(parent), needed);
}

QList<CheckResult> folderChecks()
{
    const QString settings = QFileInfo(QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).fileName()).absolutePath();
    return {folderCheck(QStringLiteral("settings folder"), settings, true),
            folderCheck(QStringLiteral("subtitles folder"), ServiceConfig::subtitlesFolder(), false),
            folderCheck(QStringLiteral("cache folder"), AnswerCache::root(), false)};
}

QList<CheckResult> serviceChecks()
{
    QList<CheckResult> checks(3);
    int outstanding = 3;
    QEventLoop loop;
    const auto into = [&](int slot) {
        return [&, slot](const CheckResult &result) {
            checks[slot] = result;
            if (--outstanding == 0)
                loop.quit();
        };
    };
    ServiceCheck::checkTmdb(ServiceConfig::tmdbApiKey(), &loop, into(0));
    ServiceCheck::checkStore(&loop, into(1));
    ServiceCheck::checkOpenSubtitles(&loop, into(2));
    loop.exec();
    return checks;
}

void printText(const QList<CheckResult> &checks)
{
    CliSupport::TextOut out;
    for (const CheckResult &result : checks) {
        const QString state = result.ok() ? QStringLiteral("ok") : result.state == State::Warning ? QStringLiteral("warning")
                                                                                                  : QStringLiteral("FAILED");
        out << state.leftJustified(8) << ' ' << result.name << ": " << result.sentence() << "\n";
    }
}

void printJson(const QList<CheckResult> &checks)
{
    QJsonArray array;
    for (const CheckResult &result : checks)
        array.append(QJsonObject{{QStringLiteral("name"), result.name},
                                 {QStringLiteral("state"), result.stateName()},
                                 {QStringLiteral("text"), result.text},
                                 {QStringLiteral("advice"), result.advice},
                                 {QStringLiteral("needed"), result.needed}});
    CliSupport::printJson(array);
}

} // namespace

int doctor(const QStringList &arguments)
{
    const CliSupport::Arguments parsed = CliSupport::parseFor(QStringLiteral("doctor"), arguments);
    if (!parsed.error.isEmpty())
        return usageError(parsed.error);
    if (!parsed.positional.isEmpty())
        return usageError(QStringLiteral("'doctor' takes no arguments"));

    QList<CheckResult> checks = toolChecks();
    checks.append(serviceChecks());
    checks.append(folderChecks());
    if (parsed.has(QStringLiteral("--json")))
        printJson(checks);
    else
        printText(checks);
    const bool broken = std::any_of(checks.cbegin(), checks.cend(), [](const CheckResult &result) { return result.needed; });
    return broken ? SomeFailed : Success;
}

} // namespace Commands
