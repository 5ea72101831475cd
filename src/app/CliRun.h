#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class ConsoleDialogs;
class Dialogs;
class QCommandLineParser;
class Tester;

// brolmet-cli's "run" command: command files loaded one after the other, as "Open Commands"
// loads them, each run for a number of non-stop timer ticks. The board, the read-outs and the
// cells stay between the files, so one file can write a chip and the next read it back.
class CliRun {
public:
    struct Options {
        QStringList files;
        int sequence = 1; // 1, 2, or 12: Sequence 1 then 2 in every tick
        int repeat = 1;
        int slider = 0;
        QString bmp;        // the observation picture of the last run, when not empty
        QString vcd;        // the line events of the last run, when not empty
        QString save;       // the set-up as a command file, when not empty
        bool force = false; // an existing file is replaced without the question
    };

    // Adds --sequence, --repeat, --slider, --bmp, --vcd, --save and --force.
    static void addOptions(QCommandLineParser& parser);
    // Whether any of those options was given (they belong to "run" only).
    static bool anyOptionSet(const QCommandLineParser& parser);
    // The options and the files after the command; nothing and a message when they are wrong.
    static std::optional<Options> parse(const QCommandLineParser& parser, const QStringList& files,
                                        QString* error);

    // wait(ms) stands for the non-stop timer's interval between two ticks (real time on a
    // real port; the simulated board lets it pass at once on its clock).
    CliRun(Tester& tester, ConsoleDialogs& dialogs, std::function<void(int ms)> wait)
        : tester_(tester), dialogs_(dialogs), wait_(std::move(wait)) {}

    // Runs the files and writes the outputs; false when an output file could not be written
    // (the reason went to standard error). An existing regular file is replaced only with
    // force: otherwise the window's question is shown and answered No. A named pipe, a
    // terminal or a standard stream (/dev/stdout) is written in place.
    bool execute(const Options& options);

    // Whether path may be written: true with force or when it is no regular file that
    // exists; otherwise the window's question whether to overwrite it is shown (and answered
    // No by the command-line tool). Also for brolmet-cli's other outputs.
    static bool mayReplace(Dialogs& dialogs, const QString& path, bool force);

private:
    // Loads path as "Open Commands" does; false when it did not load (a message was shown).
    bool load(const QString& path);
    bool writeOutputs(const Options& options);

    Tester& tester_;
    ConsoleDialogs& dialogs_;
    std::function<void(int ms)> wait_;
};
