#pragma once

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// sigrok-cli as an independent judge of what went over the simulated board's wires: it reads
// a VCD file and runs protocol decoders on it.
namespace SigrokCli {

// The program's path, or an empty string when it is not on PATH.
inline QString program() {
    return QStandardPaths::findExecutable(u"sigrok-cli"_s);
}
// Runs `sigrok-cli -I vcd -i vcdPath -P decoders -A annotations` and returns the annotation
// texts without their "decoder-1: " prefix (by default the I2C decoder's); a failure (no start,
// time-out, non-zero exit) fails the test and returns an empty list.
inline const QString kI2c = u"i2c:scl=rts:sda=data:address_format=unshifted"_s;
inline const QString kI2cAnnotations =
    u"i2c=start:repeat-start:stop:ack:nack:address-read:address-write:data-read:data-write"_s;
inline QStringList decode(const QString& vcdPath, const QString& decoders = kI2c,
                          const QString& annotations = kI2cAnnotations) {
    QProcess process;
    process.start(program(), {"-I", "vcd", "-i", vcdPath, "-P", decoders, "-A", annotations});
    if (!process.waitForFinished(60'000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        process.kill();
        ADD_FAILURE() << "sigrok-cli failed: " << process.errorString().toStdString()
                      << process.readAllStandardError().toStdString();
        return {};
    }
    QStringList lines;
    static const QRegularExpression prefix(u"^[a-z0-9_]+-\\d+: "_s);
    for (QString line : QString::fromUtf8(process.readAllStandardOutput()).split(u'\n'))
        if (!line.isEmpty())
            lines << line.remove(prefix);
    return lines;
}

} // namespace SigrokCli

#define SKIP_WITHOUT_SIGROK()                                                                      \
    if (SigrokCli::program().isEmpty())                                                            \
    GTEST_SKIP() << "sigrok-cli is not on PATH (Debian package sigrok-cli): the independent "      \
                    "decode of the wires cannot be checked"
