// brolmet-cli as a script sees it: the program is started on the simulated board, and its exit
// status, standard output (text or JSON) and standard error are checked. None of these checks
// needs a chip on the board: they rest on the runs' own messages, the NACKs of an empty bus and
// the set-up the command files bring.
#include "files/CommandFile.h"
#include "support/MessageTexts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace {

struct CliResult {
    int status = -1;
    QByteArray out;
    QByteArray err;
    QJsonObject json() const {
        QJsonParseError error{};
        const QJsonDocument doc = QJsonDocument::fromJson(out, &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << out.constData();
        EXPECT_TRUE(doc.isObject());
        return doc.object();
    }
    QStringList messages() const {
        QStringList texts;
        for (const QJsonValue& m : json().value(QStringLiteral("messages")).toArray())
            texts << m.toString();
        return texts;
    }
};

// The tool on the board; without a runtime folder, for which Qt would otherwise complain.
// limit: a file size limit for the tool's own process (0: none).
CliResult runCli(const QStringList& arguments, const QString& board = QStringLiteral("sim"),
                 rlim_t limit = 0) {
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
    process.start(QStringLiteral(TAMSOLVIX_CLI),
                  QStringList{QStringLiteral("--board"), board} + arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

class CliTest : public ::testing::Test {
protected:
    // A command file in the scratch folder with these cells (C1..C4, D1..D4; "Stop" after).
    QString commandFile(const QString& name, const QStringList& cells, bool microwire = false,
                        bool offSelected = true, bool analysis = true) {
        CommandFile file;
        file.title = name;
        file.analysis = analysis;
        file.microwire = microwire;
        file.noffSelected = offSelected;
        for (qsizetype i = 0; i < cells.size(); ++i)
            file.cells[static_cast<std::size_t>(i)] = cells[i];
        const QString path = dir_.filePath(name);
        EXPECT_EQ(file.save(path), 0);
        return path;
    }
    QString path(const QString& name) const { return dir_.filePath(name); }
    static QByteArray contents(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QTemporaryDir dir_;
};

TEST_F(CliTest, UsageErrorsExitWithTwoAndPrintNothingAndHelpWithZero) {
    const QString file = commandFile("a.scm", {"&hA0"});
    const QList<QStringList> wrong = {
        {"frobnicate"},
        {},
        {"run"},
        {"run", "--json"},
        {"run", file, "--sequence", "3"},
        {"run", file, "--sequence", "21"},
        {"run", file, "--repeat", "0"},
        {"run", file, "--repeat", "two"},
        {"run", file, "--slider", "256"},
        {"run", file, "--slider", "-1"},
        {"run", file, "--frob"},
        {"detect", "--repeat", "2"},
        {"detect", "--force"},
        {"probe", "extra"},
        {"run", file, "--repeat"},
        {"run", "-dash.scm"},
    };
    for (const QStringList& arguments : wrong) {
        const CliResult r = runCli(arguments);
        EXPECT_EQ(r.status, 2) << qPrintable(arguments.join(u' '));
        EXPECT_TRUE(r.out.isEmpty()) << qPrintable(arguments.join(u' '));
        EXPECT_TRUE(r.err.contains("see --help")) << r.err.constData();
        EXPECT_FALSE(r.err.contains(".;")) << r.err.constData();
    }
    EXPECT_TRUE(runCli({"run", "-dash.scm"})
                    .err.contains("unknown option '-dash.scm' (a file name that begins with '-' "
                                  "goes after '--': run -- -dash.scm)"));
    // A name that is not UTF-8 is said to be one, not "is NOT exist !".
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("\"$0\" run \"$(printf 'x\\377.scm')\""),
                 QStringLiteral(TAMSOLVIX_CLI)});
    ASSERT_TRUE(shell.waitForFinished(60000));
    EXPECT_EQ(shell.exitCode(), 2);
    EXPECT_TRUE(shell.readAllStandardError().contains("'x\\xFF.scm' is not valid UTF-8"));
    const CliResult help = runCli({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.contains("--json"));
}

TEST_F(CliTest, JsonHasTheWholeStateForEveryCommand) {
    for (const char* command : {"demo", "detect", "probe"}) {
        const CliResult r = runCli({command, "--json"});
        EXPECT_EQ(r.status, 0) << command << r.err.constData();
        // Standard error has the message boxes only, nothing from Qt itself.
        EXPECT_TRUE(r.err.isEmpty() || r.err == "Line Probe OK !\n") << r.err.constData();
        const QJsonObject o = r.json();
        const auto at = [&](const char* key) { return o.value(QLatin1String(key)); };
        const QJsonArray panels = at("panels").toArray();
        ASSERT_EQ(panels.size(), 11);
        ASSERT_EQ(at("panels_enabled").toArray().size(), 11);
        EXPECT_EQ(panels[1].toString(), QStringLiteral("Sequence 1: Stop"));
        EXPECT_TRUE(at("panels_enabled").toArray()[0].isBool());
        for (const char* key : {"dump1", "hex1", "dump2", "hex2", "title", "note"})
            EXPECT_TRUE(at(key).isString()) << key;
        EXPECT_TRUE(at("indicator").isDouble());
        EXPECT_TRUE(at("power").isBool());
        const QJsonObject cells = at("cells").toObject();
        EXPECT_EQ(cells.keys(), (QStringList{"C1", "C2", "C3", "C4", "D1", "D2", "D3", "D4"}));
        EXPECT_EQ(cells.value(QStringLiteral("C1")).toString(), QStringLiteral("Stop"));
        EXPECT_TRUE(at("cells_enabled").toObject().value(QStringLiteral("C1")).toBool());
        EXPECT_FALSE(at("cells_enabled").toObject().value(QStringLiteral("C2")).toBool());
        EXPECT_EQ(at("mode").toString(), QStringLiteral("I2C"));
        EXPECT_EQ(at("option").toString(), QStringLiteral("Off"));
        EXPECT_TRUE(at("title").toString().endsWith(u"No Title"));
        EXPECT_EQ(o.contains(QStringLiteral("acknowledged")), QByteArray(command) == "detect");
    }
    // The device scan's list as numbers, the same bytes as its hex list.
    const QJsonObject scan = runCli({"detect", "--json"}).json();
    QStringList hex;
    for (const QJsonValue& a : scan.value(QStringLiteral("acknowledged")).toArray())
        hex << QString::number(a.toInt(), 16).toUpper();
    EXPECT_EQ(hex.join(u' '), scan.value(QStringLiteral("hex1")).toString().trimmed());
    // Data in stuck low: every address byte acknowledges, though the report says "Device Not
    // Found !" and lists none; the list and the grid say what the scan found.
    const QString stuck = QStringLiteral("sim:cts-low");
    EXPECT_EQ(
        runCli({"detect", "--json"}, stuck).json()[QStringLiteral("acknowledged")].toArray().size(),
        256);
    EXPECT_TRUE(runCli({"detect"}, stuck)
                    .out.contains("  F0: F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF\n"));
}

TEST_F(CliTest, ProbeKeepsItsExitStatusAndReportsTheLineTest) {
    const CliResult passed = runCli({"probe", "--json"});
    EXPECT_EQ(passed.status, 0);
    EXPECT_EQ(passed.messages(), QStringList{QStringLiteral("Line Probe OK !")});
    const CliResult failed = runCli({"probe", "--json"}, QStringLiteral("sim:dsr-low"));
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.messages().size(), 1);
    EXPECT_NE(failed.messages().front(), QStringLiteral("Line Probe OK !"));
}

TEST_F(CliTest, AnInvalidI2cConstantEndsTheRepeats) {
    // Whether the file had "Off" selected or no option at all, the run selects it and stops.
    for (const bool offSelected : {true, false}) {
        const QString file = commandFile("bad.scm", {"&hA0", "300", "Stop"}, false, offSelected);
        const CliResult r = runCli({"run", file, "--repeat", "5", "--json"});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.messages(), QStringList{kI2cBadConstant});
        const QJsonObject o = r.json();
        EXPECT_EQ(o.value(QStringLiteral("option")).toString(), QStringLiteral("Off"));
        EXPECT_TRUE(o.value(QStringLiteral("power")).toBool());
        // The valid constant before it was rewritten, the invalid one left as typed.
        const QJsonObject cells = o.value(QStringLiteral("cells")).toObject();
        EXPECT_EQ(cells.value(QStringLiteral("C1")).toString(), QStringLiteral(" 160"));
        EXPECT_EQ(cells.value(QStringLiteral("C2")).toString(), QStringLiteral("300"));
    }
}

TEST_F(CliTest, MicrowireBadConstantRepeatsButAnIllegalBitStops) {
    const QString constant = commandFile("constant.scm", {"300"}, true, false);
    const CliResult repeated = runCli({"run", constant, "--repeat", "3", "--json"});
    EXPECT_EQ(repeated.status, 1);
    EXPECT_EQ(repeated.messages(), QStringList(3, kMicrowireBadConstant));
    EXPECT_EQ(repeated.json().value(QStringLiteral("mode")).toString(),
              QStringLiteral("Microwire"));
    EXPECT_TRUE(repeated.json().value(QStringLiteral("option")).isNull()); // none selected

    const QString bit = commandFile("bit.scm", {"x1021"}, true);
    const CliResult stopped = runCli({"run", bit, "--repeat", "3", "--json"});
    EXPECT_EQ(stopped.status, 1);
    EXPECT_EQ(stopped.messages(), QStringList{kIllegalBit});
}

TEST_F(CliTest, SequenceChoosesTheRowsEachTickRuns) {
    const QString file = commandFile("rows.scm", {"&h40", "Stop", "Stop", "Stop", "&h41", "Stop"});
    auto cellsAfter = [&](const QString& sequence) {
        const CliResult r = runCli({"run", file, "--sequence", sequence, "--json"});
        EXPECT_EQ(r.status, 0) << r.err.constData();
        const QJsonObject cells = r.json().value(QStringLiteral("cells")).toObject();
        // A run rewrites the constants it sends in decimal.
        return QStringList{cells.value(QStringLiteral("C1")).toString(),
                           cells.value(QStringLiteral("D1")).toString()};
    };
    EXPECT_EQ(cellsAfter(QStringLiteral("1")), (QStringList{" 64", "&h41"}));
    EXPECT_EQ(cellsAfter(QStringLiteral("2")), (QStringList{"&h40", " 65"}));
    EXPECT_EQ(cellsAfter(QStringLiteral("12")), (QStringList{" 64", " 65"}));
}

TEST_F(CliTest, FilesRunInTurnAndAFailedOneIsSkipped) {
    const QString first = commandFile("first.scm", {"&hA0"});
    QFile foreign(path("foreign.scm"));
    ASSERT_TRUE(foreign.open(QIODevice::WriteOnly));
    foreign.write("\"Some other file\"\r\n");
    foreign.close();
    const QString last = commandFile("last.scm", {"Dump1"});
    const CliResult r = runCli({"run", first, path("missing.scm"), foreign.fileName(), last});
    EXPECT_EQ(r.status, 1);
    // Text mode: the messages on standard error in order, the state on standard output.
    const QByteArray err = r.err;
    const qsizetype missing = err.indexOf("'missing.scm' is NOT exist !");
    const qsizetype refused = err.indexOf("Not compatible file format version !");
    EXPECT_GE(missing, 0);
    EXPECT_GT(refused, missing);
    EXPECT_TRUE(r.out.contains("Status bar: [Port: 1]"));
    EXPECT_TRUE(r.out.contains("C1=Dump1")); // the last file's cells
    // The read on an empty bus finds the data line released: 255 in the first read-out.
    EXPECT_TRUE(r.out.contains("Hex1:       FF")) << r.out.constData();
}

TEST_F(CliTest, SaveWritesTheSetUpUnderItsOwnNameBmpThePictureAndVcdTheLineEvents) {
    const QString file = commandFile("in.scm", {"&hA0", "&h10"});
    const QString saved = path("out.scm");
    const QString picture = path("run.bmp");
    const QString dump = path("run.vcd");
    const CliResult r = runCli({"run", file, "--save", saved, "--bmp", picture, "--vcd", dump});
    EXPECT_EQ(r.status, 0) << r.err.constData();
    QFile out(saved);
    ASSERT_TRUE(out.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = out.readAll().split('\n');
    ASSERT_EQ(lines.size(), 20); // 19 lines, each with CR LF
    EXPECT_EQ(lines[4], QByteArray("\"out.scm\"\r"));
    EXPECT_EQ(lines[9], QByteArray("\" 160\"\r")); // C1 as the run rewrote it
    const QImage image(picture);
    EXPECT_FALSE(image.isNull());
    QFile vcd(dump);
    ASSERT_TRUE(vcd.open(QIODevice::ReadOnly));
    const QByteArray events = vcd.readAll();
    EXPECT_TRUE(events.startsWith("$version Tamsolvix observation $end\n"));
    // Only port calls move the board's clock, 10 us each: the same run exports the same bytes.
    ASSERT_EQ(runCli({"run", file, "--vcd", path("again.vcd")}).status, 0);
    EXPECT_EQ(contents(path("again.vcd")), events);
    const QList<QByteArray> marks = events.trimmed().split('\n'); // the last one ends the dump
    for (qsizetype i = 0; i + 1 < marks.size(); ++i)
        EXPECT_TRUE(!marks[i].startsWith('#') || marks[i].mid(1).toLongLong() % 10'000 == 0)
            << marks[i].data();

    // The saved file loads again without a message.
    EXPECT_EQ(runCli({"run", saved}).status, 0);
    // Existing files are kept: each output's question is answered No. --force replaces them.
    const QByteArray savedBytes = contents(saved);
    const QStringList again{"run", file, "--save", saved, "--bmp", picture, "--vcd", dump};
    const CliResult kept = runCli(again + QStringList{"--sequence", "2"});
    EXPECT_EQ(kept.status, 1);
    for (const char* name : {"out.scm", "run.bmp", "run.vcd"})
        EXPECT_TRUE(kept.err.contains(QByteArray("'") + name + "' is exist ! Overwrite ?\n"));
    EXPECT_EQ(contents(saved), savedBytes);
    EXPECT_EQ(runCli(again + QStringList{"--sequence", "2", "--force"}).status, 0);
    const QByteArray forced = contents(saved);
    EXPECT_NE(forced, savedBytes);
    // A write that fails says why, and the old file stays as it was.
    const CliResult full = runCli({"run", file, "--save", saved, "--force"}, "sim", 64);
    EXPECT_EQ(full.status, 1);
    EXPECT_TRUE(full.err.contains("out.scm: File too large")) << full.err.constData();
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
    const QString quiet = commandFile("quiet.scm", {"&hA0"}, false, true, /*analysis=*/false);
    const CliResult empty = runCli({"run", quiet, "--vcd", dump});
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
    QFile before(store);
    ASSERT_TRUE(before.open(QIODevice::ReadOnly));
    const QByteArray content = before.readAll();
    before.close();
    const QJsonObject o = runCli({"demo", "--json"}).json();
    EXPECT_EQ(o.value(QStringLiteral("mode")).toString(), QStringLiteral("Microwire"));
    EXPECT_EQ(o.value(QStringLiteral("panels")).toArray()[0].toString(), QStringLiteral("Port: 2"));
    QFile after(store);
    ASSERT_TRUE(after.open(QIODevice::ReadOnly));
    EXPECT_EQ(after.readAll(), content);
    after.close();
    QFile::remove(store);
}

} // namespace
