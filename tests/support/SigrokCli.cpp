#include "support/SigrokCli.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <gtest/gtest.h>

QString SigrokCli::program() {
    return QStandardPaths::findExecutable(u"sigrok-cli"_s);
}

QStringList SigrokCli::decode(const QString& vcdPath, const QString& decoders,
                              const QString& annotations) {
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
