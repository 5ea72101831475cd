#include "support/SigrokCli.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

QString SigrokCli::program() {
    return QStandardPaths::findExecutable(QStringLiteral("sigrok-cli"));
}

QStringList SigrokCli::decode(const QString& vcdPath, const QString& decoders,
                              const QString& annotations, QString* error) {
    QProcess process;
    process.start(program(),
                  {QStringLiteral("-I"), QStringLiteral("vcd"), QStringLiteral("-i"), vcdPath,
                   QStringLiteral("-P"), decoders, QStringLiteral("-A"), annotations});
    constexpr int kTimeoutMs = 60'000;
    if (!process.waitForStarted(kTimeoutMs)) {
        *error = QStringLiteral("sigrok-cli did not start: ") + process.errorString();
        return {};
    }
    if (!process.waitForFinished(kTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        *error = QStringLiteral("sigrok-cli took longer than 60 s");
        return {};
    }
    const QString err = QString::fromUtf8(process.readAllStandardError());
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        *error = QStringLiteral("sigrok-cli failed: ") + err;
        return {};
    }
    QStringList lines;
    static const QRegularExpression prefix(QStringLiteral("^[a-z0-9_]+-\\d+: "));
    for (QString line : QString::fromUtf8(process.readAllStandardOutput()).split(u'\n')) {
        if (line.isEmpty())
            continue;
        lines << line.remove(prefix);
    }
    return lines;
}
