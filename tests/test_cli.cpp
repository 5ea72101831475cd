// brolmet-cli as a script sees it: the program is started on the simulated board, and its
// arguments, exit status, standard output (text or JSON) and standard error are checked. What
// a run does is checked in-process (test_runs.cpp).
#include "files/CommandFile.h"
#include "model/FileTexts.h"
#include "support/Rig.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>

#include <sys/stat.h>
#include <thread>

namespace {

struct CliResult {
    int status = -1;
    QByteArray out, err;
    QJsonObject json() const { return QJsonDocument::fromJson(out).object(); }
    QJsonValue operator[](const char* key) const { return json().value(QLatin1String(key)); }
    // The exit status and standard error.
    QString says() const { return QString::number(status) + ' ' + QString::fromUtf8(err); }
};

// The tool, on the simulated board unless the arguments choose a board or a device, started
// by the shell without a runtime folder (for which Qt would complain) and after prefix.
CliResult runCli(QStringList arguments, const char* prefix = "") {
    if (!arguments.contains("--board") && !arguments.contains("--device"))
        arguments = QStringList{"--board", "sim"} + arguments;
    QProcess process;
    process.start(
        u"/bin/sh"_s,
        QStringList{"-c", "unset XDG_RUNTIME_DIR; " + QLatin1String(prefix) + " exec \"$0\" \"$@\"",
                    TAMSOLVIX_CLI} +
            arguments);
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
    const QString command =
        u"expected a command (demo, detect, probe, ports, run, eeprom, transfer, dump)"_s;
    const QString runs =
        u"--sequence, --repeat, --slider, --bmp, --vcd, --save and --force belong to run"_s;
    // clang-format off
    const std::pair<QStringList, QString> wrong[] = {
        {{"frobnicate"}, command}, {{}, command}, {{"detect", "--repeat", "2"}, runs},
        {{"run"}, "run needs at least one command file"}, {{"detect", "--force"}, runs},
        {{"run", "--json"}, "run needs at least one command file"},
        {{"run", f, "--sequence", "21"}, "--sequence takes 1, 2 or 12, not \"21\""},
        {{"run", f, "--repeat", "0"}, "--repeat takes a whole number of at least 1, not \"0\""},
        {{"run", f, "--repeat", "two"}, "--repeat takes a whole number of at least 1, not \"two\""},
        {{"run", f, "--slider", "256"}, "--slider takes a whole number from 0 to 255, not \"256\""},
        {{"run", f, "--slider", "-1"}, "--slider takes a whole number from 0 to 255, not \"-1\""},
        {{"run", f, "--bmp="}, "--bmp, --vcd and --save need a file name"},
        {{"run", f, "--frob"}, "unknown option '--frob'"},
        {{"probe", "extra"}, "probe takes no arguments"},
        {{"run", f, "--repeat"}, "Missing value after '--repeat'"},
        {{"run", "-dash.scm"}, "unknown option '-dash.scm' (a file name that begins with '-' goes "
                               "after '--': run -- -dash.scm)"},
        {{"--device", "5=/tmp/x", "demo"},
         "bad --device '5=/tmp/x' (PATH, or N=PATH with N from 1 to 4)"},
        {{"--board", "sim:nope", "demo"}, "unknown board variant 'nope' (known: cts-high, cts-low, "
                                          "dsr-low, dsr-high, dsr-late, unplug)"}};
    // clang-format on
    for (const auto& [arguments, why] : wrong)
        EXPECT_EQ(runCli(arguments).says(),
                  "2 brolmet-cli: " + why + "; see --help\n"); // no output
    // A name that is not UTF-8 is said to be one, not "is NOT exist !".
    EXPECT_EQ(
        runCli({"run"}, "set -- \"$@\" \"$(printf 'x\\377.scm')\";").says(),
        u"2 brolmet-cli: the argument 'x\\xFF.scm' is not valid UTF-8, and a file with such a "
        "name cannot be opened here: rename the file; see --help\n"_s);
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

TEST_F(CliTest, JsonHasTheWholeStateAndTheSettingsAreLeftAlone) {
    for (const char* command : {"demo", "detect", "probe"}) {
        const CliResult r = runCli({command, "--json"});
        // Standard error has the message boxes only, nothing from Qt itself.
        EXPECT_EQ(r.says(), QByteArray(command) == "probe" ? u"0 Line Probe OK !\n"_s : u"0 "_s);
        const QString acknowledged = QByteArray(command) == "detect" ? "acknowledged=a6 " : "";
        const QString messages = QByteArray(command) == "probe" ? "messages=a1 " : "messages=a0 ";
        EXPECT_EQ(shape(r.json()),
                  acknowledged +
                      "cells=o(C1,C2,C3,C4,D1,D2,D3,D4) cells_enabled=o(C1,C2,C3,C4,D1,D2,D3,D4) "
                      "dump1=s dump2=s hex1=s hex2=s indicator=d " +
                      messages +
                      "mode=s note=s option=s panels=a11 panels_enabled=a11 power=b title=s");
        EXPECT_EQ(
            QStringList({r["panels"][1].toString(), r["cells"][u"C1"_s].toString(),
                         r["mode"].toString(), r["option"].toString(), r["title"].toString()}),
            QStringList({"Sequence 1: Stop", "Stop", "I2C", "Off",
                         "I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"}));
        EXPECT_TRUE(r["panels_enabled"][0].isBool() && r["cells_enabled"][u"C1"_s].toBool());
        EXPECT_FALSE(r["cells_enabled"][u"C2"_s].toBool());
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
    const CliResult failed = runCli({"--board", "sim:dsr-low", "probe"});
    EXPECT_TRUE(failed.says().startsWith(u"1 Line Probe Fail !!\nSeveral Periods: 0/ 1/"));

    // The tool starts from the settings and leaves them alone.
    const QString store =
        QDir(qEnvironmentVariable("XDG_CONFIG_HOME")).filePath(u"Pellucor.conf"_s);
    {
        QSettings settings(store, QSettings::IniFormat);
        settings.setValue(u"Setup/Microwire"_s, u"1"_s);
        settings.setValue(u"Setup/Port"_s, u"2"_s);
    }
    const QByteArray before = contents(store);
    const CliResult r = runCli({"demo", "--json"});
    EXPECT_EQ(r["mode"].toString() + ' ' + r["panels"][0].toString(), u"Microwire Port: 2"_s);
    EXPECT_EQ(contents(store), before);
    QFile::remove(store);
}

TEST_F(CliTest, RunsFilesInTurnAndWritesTheSetUpPictureAndLineEventsSafely) {
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
    EXPECT_EQ(runCli(outputs + QStringList{"--sequence", "2"}).says(),
              u"1 'run.bmp' is exist ! Overwrite ?\n'run.vcd' is exist ! Overwrite ?\n"
              "'out.scm' is exist ! Overwrite ?\n"_s);
    EXPECT_EQ(contents(saved), savedBytes);
    EXPECT_EQ(runCli(outputs + QStringList{"--sequence", "2", "--force"}).status, 0);
    const QByteArray forced = contents(saved);
    EXPECT_NE(forced, savedBytes);
    // A write that fails says why, and the old file stays as it was.
    EXPECT_EQ(
        runCli({"run", file, "--save", saved, "--force"}, "trap '' XFSZ; ulimit -f 0;").says(),
        "1 brolmet-cli: cannot write " + saved + ": File too large\n");
    EXPECT_EQ(contents(saved), forced);
    // A named pipe is written in place, for the program that reads it.
    const QString pipe = path("pipe.vcd");
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QByteArray piped;
    std::thread reader([&] { piped = contents(pipe); });
    EXPECT_EQ(runCli({"run", file, "--vcd", pipe}).status, 0);
    reader.join();
    EXPECT_TRUE(piped.startsWith("$version Tamsolvix observation $end\n") &&
                !QFileInfo(pipe).isFile());
    // A folder that does not exist: the output fails, and so does the exit status. Without
    // Observation there are no line events, which is said and fails the command.
    EXPECT_EQ(runCli({"run", file, "--save", path("no/such/folder.scm")}).says(),
              "1 brolmet-cli: cannot write " + path("no/such/folder.scm") +
                  ": No such file or directory\n");
    EXPECT_EQ(runCli({"run", commandFile("quiet.scm", {"&hA0"}, false), "--vcd", dump}).says(),
              "1 brolmet-cli: " + FileTexts::kNoLineEvents + '\n');

    // Files run in turn, and one that fails to load is skipped.
    const QString first = commandFile("first.scm", {"&hA0"});
    ASSERT_TRUE(writeFile(path("foreign.scm"), "\"Some other file\"\r\n"));
    const QString last = commandFile("last.scm", {"Dump1"});
    const CliResult r = runCli({"run", first, path("missing.scm"), path("foreign.scm"), last});
    // Text mode: the messages on standard error in order, the state on standard output.
    EXPECT_EQ(r.says(),
              u"1 'missing.scm' is NOT exist !\nNot compatible file format version !\n"_s);
    EXPECT_TRUE(r.out.contains("Status bar: [Port: 1]") &&
                r.out.contains("C1=Dump1")); // the last file's
    // The read on an empty bus finds the data line released: 255 in the first read-out.
    EXPECT_TRUE(r.out.contains("Hex1:       FF")) << r.out.constData();
}
