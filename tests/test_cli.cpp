// brolmet-cli as a script sees it: the program is started on the simulated board, and its
// arguments, exit status, standard output (text or JSON) and standard error are checked. What
// a run does is checked in-process (test_runs.cpp).
#include "files/CommandFile.h"
#include "support/Rig.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace {

struct CliResult {
    int status = -1;
    QByteArray out, err;
    QJsonObject json() const {
        QJsonParseError error{};
        const QJsonDocument doc = QJsonDocument::fromJson(out, &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << out.constData();
        return doc.object();
    }
    QJsonValue operator[](const char* key) const { return json().value(QLatin1String(key)); }
};

// The tool, on the simulated board unless the arguments choose a board or a device; without a
// runtime folder, for which Qt would otherwise complain. limit: a file size limit for the
// tool's own process (0: none).
CliResult runCli(QStringList arguments, rlim_t limit = 0) {
    if (!arguments.contains("--board") && !arguments.contains("--device"))
        arguments = QStringList{"--board", "sim"} + arguments;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("XDG_RUNTIME_DIR"));
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier([limit] {
        if (limit == 0)
            return;
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit small{limit, RLIM_INFINITY};
        getrlimit(RLIMIT_FSIZE, &small);
        small.rlim_cur = limit;
        setrlimit(RLIMIT_FSIZE, &small);
    });
    process.start(QStringLiteral(TAMSOLVIX_CLI), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

struct CliTest : ::testing::Test, Scratch {
    // A command file in the scratch folder with these cells (C1..C4, D1..D4; "Stop" after).
    QString commandFile(const char* name, const QStringList& cells, bool analysis = true) {
        CommandFile file;
        file.title = QString::fromLatin1(name);
        file.analysis = analysis;
        std::copy(cells.begin(), cells.end(), file.cells.begin());
        EXPECT_EQ(file.save(path(name)), 0);
        return path(name);
    }
};

} // namespace

TEST_F(CliTest, UsageErrorsExitWithTwoAndPrintNothingAndHelpWithZero) {
    const QString f = commandFile("a.scm", {"&hA0"});
    const QString command = QStringLiteral("expected a command (demo, detect, probe, run)");
    const QString runs = QStringLiteral(
        "--sequence, --repeat, --slider, --bmp, --vcd, --save and --force belong to run");
    // clang-format off
    const std::pair<QStringList, QString> wrong[] = {
        {{"frobnicate"}, command}, {{}, command},
        {{"run"}, "run needs at least one command file"}, {{"run", "--json"}, "run needs at least one command file"},
        {{"run", f, "--sequence", "21"}, "--sequence takes 1, 2 or 12, not \"21\""},
        {{"run", f, "--repeat", "0"}, "--repeat takes a whole number of at least 1, not \"0\""},
        {{"run", f, "--repeat", "two"}, "--repeat takes a whole number of at least 1, not \"two\""},
        {{"run", f, "--slider", "256"}, "--slider takes a whole number from 0 to 255, not \"256\""},
        {{"run", f, "--slider", "-1"}, "--slider takes a whole number from 0 to 255, not \"-1\""},
        {{"run", f, "--bmp="}, "--bmp, --vcd and --save need a file name"},
        {{"run", f, "--frob"}, "unknown option '--frob'"}, {{"run", f, "--repeat"}, "Missing value after '--repeat'"},
        {{"detect", "--repeat", "2"}, runs}, {{"detect", "--force"}, runs}, {{"probe", "extra"}, "probe takes no arguments"},
        {{"run", "-dash.scm"}, "unknown option '-dash.scm' (a file name that begins with '-' goes after '--': run -- -dash.scm)"},
        {{"--device", "5=/tmp/x", "demo"}, "bad --device '5=/tmp/x' (PATH, or N=PATH with N from 1 to 4)"},
        {{"--board", "sim:nope", "demo"}, "unknown board variant 'nope' (known: cts-high, cts-low, dsr-low, dsr-high, dsr-late, unplug)"}};
    // clang-format on
    for (const auto& [arguments, why] : wrong) {
        const CliResult r = runCli(arguments);
        EXPECT_EQ(QString::number(r.status) + r.out + r.err,
                  "2brolmet-cli: " + why + "; see --help\n");
    }
    // A name that is not UTF-8 is said to be one, not "is NOT exist !".
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"),
                {"-c", "\"$0\" run \"$(printf 'x\\377.scm')\"", TAMSOLVIX_CLI});
    ASSERT_TRUE(shell.waitForFinished(60000));
    EXPECT_EQ(shell.exitCode(), 2);
    EXPECT_TRUE(shell.readAllStandardError().contains("'x\\xFF.scm' is not valid UTF-8"));
    const CliResult help = runCli({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.contains("--json"));
}

// The keys of a JSON object with the type of each value (n null, b bool, d number, s string,
// a array and its size, o object and its keys).
QString shape(const QJsonObject& o) {
    QStringList keys;
    for (auto it = o.begin(); it != o.end(); ++it) {
        const QJsonValue v = it.value();
        keys << it.key() + '=' + "nbdsao"[v.type() & 7] +
                    (v.isArray() ? QString::number(v.toArray().size()) : QString()) +
                    (v.isObject() ? '(' + v.toObject().keys().join(u',') + ')' : QString());
    }
    return keys.join(u' ');
}

TEST_F(CliTest, JsonHasTheWholeStateForEveryCommandAndProbeItsExitStatus) {
    for (const char* command : {"demo", "detect", "probe"}) {
        const CliResult r = runCli({command, "--json"});
        // Standard error has the message boxes only, nothing from Qt itself.
        EXPECT_EQ(r.status, 0) << command;
        EXPECT_EQ(r.err, QByteArray(command) == "probe" ? "Line Probe OK !\n" : "");
        const QString acknowledged = QByteArray(command) == "detect" ? "acknowledged=a6 " : "";
        const QString messages = QByteArray(command) == "probe" ? "messages=a1 " : "messages=a0 ";
        EXPECT_EQ(shape(r.json()),
                  acknowledged +
                      "cells=o(C1,C2,C3,C4,D1,D2,D3,D4) cells_enabled=o(C1,C2,C3,C4,D1,D2,D3,D4) "
                      "dump1=s dump2=s hex1=s hex2=s indicator=d " +
                      messages +
                      "mode=s note=s option=s panels=a11 panels_enabled=a11 power=b title=s");
        EXPECT_EQ(
            QStringList({r["panels"][1].toString(), r["cells"][QStringLiteral("C1")].toString(),
                         r["mode"].toString(), r["option"].toString(), r["title"].toString()}),
            QStringList({"Sequence 1: Stop", "Stop", "I2C", "Off",
                         "I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"}));
        EXPECT_TRUE(r["panels_enabled"][0].isBool() &&
                    r["cells_enabled"][QStringLiteral("C1")].toBool());
        EXPECT_FALSE(r["cells_enabled"][QStringLiteral("C2")].toBool());
    }
    // The device scan's list as numbers, the same bytes as its hex list.
    const CliResult scan = runCli({"detect", "--json"});
    QStringList hex;
    for (const QJsonValue& a : scan["acknowledged"].toArray())
        hex << QString::number(a.toInt(), 16).toUpper();
    EXPECT_EQ(hex.join(u' '), scan["hex1"].toString().trimmed());
    // Data in stuck low: every address byte acknowledges, though the report says "Device Not
    // Found !" and lists none; the list and the grid say what the scan found.
    EXPECT_EQ(
        runCli({"--board", "sim:cts-low", "detect", "--json"})["acknowledged"].toArray().size(),
        256);
    EXPECT_TRUE(runCli({"--board", "sim:cts-low", "detect"})
                    .out.contains("  F0: F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF\n"));
    // The line test's verdict is the exit status.
    const CliResult failed = runCli({"--board", "sim:dsr-low", "probe", "--json"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed["messages"][0].toString().startsWith(u"Line Probe Fail !!"));
}

TEST_F(CliTest, FilesRunInTurnAndAFailedOneIsSkipped) {
    const QString first = commandFile("first.scm", {"&hA0"});
    ASSERT_TRUE(writeFile(path("foreign.scm"), "\"Some other file\"\r\n"));
    const QString last = commandFile("last.scm", {"Dump1"});
    const CliResult r = runCli({"run", first, path("missing.scm"), path("foreign.scm"), last});
    EXPECT_EQ(r.status, 1);
    // Text mode: the messages on standard error in order, the state on standard output.
    EXPECT_EQ(r.err, "'missing.scm' is NOT exist !\nNot compatible file format version !\n");
    EXPECT_TRUE(r.out.contains("Status bar: [Port: 1]"));
    EXPECT_TRUE(r.out.contains("C1=Dump1")); // the last file's cells
    // The read on an empty bus finds the data line released: 255 in the first read-out.
    EXPECT_TRUE(r.out.contains("Hex1:       FF")) << r.out.constData();
}

TEST_F(CliTest, SaveWritesTheSetUpUnderItsOwnNameBmpThePictureAndVcdTheLineEvents) {
    const QString file = commandFile("in.scm", {"&hA0", "&h10"});
    const QString saved = path("out.scm"), picture = path("run.bmp"), dump = path("run.vcd");
    const QStringList outputs{"run", file, "--save", saved, "--bmp", picture, "--vcd", dump};
    EXPECT_EQ(runCli(outputs).status, 0);
    const QList<QByteArray> lines = contents(saved).split('\n');
    ASSERT_EQ(lines.size(), 20); // 19 lines, each with CR LF
    EXPECT_EQ(lines[4], QByteArray("\"out.scm\"\r"));
    EXPECT_EQ(lines[9], QByteArray("\" 160\"\r")); // C1 as the run rewrote it
    EXPECT_FALSE(QImage(picture).isNull());
    const QByteArray events = contents(dump);
    EXPECT_TRUE(events.startsWith("$version Tamsolvix observation $end\n"));
    // Only port calls move the board's clock, 10 us each: the same run exports the same bytes.
    ASSERT_EQ(runCli({"run", file, "--vcd", path("again.vcd")}).status, 0);
    EXPECT_EQ(contents(path("again.vcd")), events);
    const QList<QByteArray> marks = events.trimmed().split('\n'); // the last one ends the dump
    for (qsizetype i = 0; i + 1 < marks.size(); ++i)
        EXPECT_TRUE(!marks[i].startsWith('#') || marks[i].mid(1).toLongLong() % 10'000 == 0);
    EXPECT_EQ(runCli({"run", saved}).status, 0); // the saved file loads again without a message

    // Existing files are kept: each output's question is answered No. --force replaces them.
    const QByteArray savedBytes = contents(saved);
    const CliResult kept = runCli(outputs + QStringList{"--sequence", "2"});
    EXPECT_EQ(kept.status, 1);
    for (const char* name : {"out.scm", "run.bmp", "run.vcd"})
        EXPECT_TRUE(kept.err.contains(QByteArray("'") + name + "' is exist ! Overwrite ?\n"));
    EXPECT_EQ(contents(saved), savedBytes);
    EXPECT_EQ(runCli(outputs + QStringList{"--sequence", "2", "--force"}).status, 0);
    const QByteArray forced = contents(saved);
    EXPECT_NE(forced, savedBytes);
    // A write that fails says why, and the old file stays as it was.
    const CliResult full = runCli({"run", file, "--save", saved, "--force"}, 64);
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.err, "brolmet-cli: cannot write " + saved.toUtf8() + ": File too large\n");
    EXPECT_EQ(contents(saved), forced);
    // A named pipe is written in place, for the program that reads it.
    const QString pipe = path("pipe.vcd");
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QByteArray piped;
    std::thread reader([&] { piped = contents(pipe); });
    EXPECT_EQ(runCli({"run", file, "--vcd", pipe}).status, 0);
    reader.join();
    EXPECT_TRUE(piped.startsWith("$version Tamsolvix observation $end\n"));
    EXPECT_FALSE(QFileInfo(pipe).isFile());
    // A folder that does not exist: the output fails, and so does the exit status.
    const CliResult failed = runCli({"run", file, "--save", path("no/such/folder.scm")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains("folder.scm: No such file or directory"))
        << failed.err.constData();
    // Without Observation there are no line events, which is said and fails the command.
    const CliResult empty =
        runCli({"run", commandFile("quiet.scm", {"&hA0"}, false), "--vcd", dump});
    EXPECT_EQ(empty.status, 1);
    EXPECT_TRUE(empty.err.contains("no line events")) << empty.err.constData();
}

TEST_F(CliTest, StartsFromTheSettingsAndLeavesThemAlone) {
    const QString store =
        QDir(qEnvironmentVariable("XDG_CONFIG_HOME")).filePath(QStringLiteral("Pellucor.conf"));
    {
        QSettings settings(store, QSettings::IniFormat);
        settings.setValue(QStringLiteral("Setup/Microwire"), QStringLiteral("1"));
        settings.setValue(QStringLiteral("Setup/Port"), QStringLiteral("2"));
    }
    const QByteArray before = contents(store);
    const CliResult r = runCli({"demo", "--json"});
    EXPECT_EQ(r["mode"].toString(), QStringLiteral("Microwire"));
    EXPECT_EQ(r["panels"][0].toString(), QStringLiteral("Port: 2"));
    EXPECT_EQ(contents(store), before);
    QFile::remove(store);
}
