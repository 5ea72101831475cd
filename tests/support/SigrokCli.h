#pragma once

#include <QStringList>

using namespace Qt::StringLiterals;

// sigrok-cli as an independent judge of what went over the simulated board's wires: it reads
// a VCD file and runs protocol decoders on it.
namespace SigrokCli {

// The program's path, or an empty string when it is not on PATH.
QString program();
// Runs `sigrok-cli -I vcd -i vcdPath -P decoders -A annotations` and returns the annotation
// texts without their "decoder-1: " prefix; a failure (no start, time-out, non-zero exit)
// fails the test and returns an empty list.
QStringList decode(const QString& vcdPath, const QString& decoders, const QString& annotations);

inline const QString kI2c = u"i2c:scl=rts:sda=data:address_format=unshifted"_s;
inline const QString kI2cAnnotations =
    u"i2c=start:repeat-start:stop:ack:nack:address-read:address-write:data-read:data-write"_s;

} // namespace SigrokCli

#define SKIP_WITHOUT_SIGROK()                                                                      \
    if (SigrokCli::program().isEmpty())                                                            \
    GTEST_SKIP() << "sigrok-cli is not on PATH (Debian package sigrok-cli): the independent "      \
                    "decode of the wires cannot be checked"
