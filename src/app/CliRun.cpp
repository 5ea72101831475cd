#include "app/CliRun.h"

#include "actions/Tester.h"
#include "app/ConsoleDialogs.h"
#include "base/SafeSave.h"
#include "files/BitmapFile.h"
#include "files/ObservationVcd.h"
#include "model/FileTexts.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>
#include <limits>

namespace {

const QString kSequence = QStringLiteral("sequence");
const QString kRepeat = QStringLiteral("repeat");
const QString kSlider = QStringLiteral("slider");
const QString kBmp = QStringLiteral("bmp");
const QString kVcd = QStringLiteral("vcd");
const QString kSave = QStringLiteral("save");
const QString kForce = QStringLiteral("force");

bool cannotWrite(const QString& path, const QString& why) {
    std::fprintf(stderr, "brolmet-cli: cannot write %s: %s\n", qPrintable(path), qPrintable(why));
    return false;
}

// A whole decimal number within [low, high].
std::optional<int> number(const QString& text, int low, int high) {
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok || v < low || v > high)
        return std::nullopt;
    return v;
}

} // namespace

void CliRun::addOptions(QCommandLineParser& parser) {
    parser.addOption({kSequence,
                      QStringLiteral("run: the sequence each tick runs: 1, 2, or 12 (Sequence 1 "
                                     "then 2); default 1."),
                      QStringLiteral("S")});
    parser.addOption({kRepeat,
                      QStringLiteral("run: the number of non-stop timer ticks per file, at least "
                                     "1; default 1. A run that switches the timer off ends them."),
                      QStringLiteral("N")});
    parser.addOption({kSlider,
                      QStringLiteral("run: the potmeter slider's value, 0 to 255; default 0."),
                      QStringLiteral("V")});
    parser.addOption({kBmp,
                      QStringLiteral("run: export the observation picture of the last run to "
                                     "this Windows bitmap."),
                      QStringLiteral("OUT.bmp")});
    parser.addOption({kVcd,
                      QStringLiteral("run: export the line events of the last run, with their "
                                     "times, to this Value Change Dump (needs Observation on)."),
                      QStringLiteral("OUT.vcd")});
    parser.addOption({kSave,
                      QStringLiteral("run: save the set-up afterwards as this command file, as "
                                     "Save Commands would."),
                      QStringLiteral("OUT.scm")});
    parser.addOption({kForce, QStringLiteral("run: --bmp, --vcd and --save replace an existing "
                                             "file (without it they keep the file and fail); "
                                             "eeprom read: its FILE too.")});
}

bool CliRun::anyOptionSet(const QCommandLineParser& parser) {
    for (const QString& name : {kSequence, kRepeat, kSlider, kBmp, kVcd, kSave, kForce})
        if (parser.isSet(name))
            return true;
    return false;
}

std::optional<CliRun::Options> CliRun::parse(const QCommandLineParser& parser,
                                             const QStringList& files, QString* error) {
    Options o;
    o.files = files;
    if (o.files.isEmpty()) {
        *error = QStringLiteral("run needs at least one command file");
        return std::nullopt;
    }
    if (parser.isSet(kSequence)) {
        const QString s = parser.value(kSequence);
        if (s != u"1" && s != u"2" && s != u"12") {
            *error = QStringLiteral("--sequence takes 1, 2 or 12, not \"%1\"").arg(s);
            return std::nullopt;
        }
        o.sequence = s.toInt();
    }
    if (parser.isSet(kRepeat)) {
        const auto n = number(parser.value(kRepeat), 1, std::numeric_limits<int>::max());
        if (!n) {
            *error = QStringLiteral("--repeat takes a whole number of at least 1, not \"%1\"")
                         .arg(parser.value(kRepeat));
            return std::nullopt;
        }
        o.repeat = *n;
    }
    if (parser.isSet(kSlider)) {
        const auto v = number(parser.value(kSlider), 0, 255);
        if (!v) {
            *error = QStringLiteral("--slider takes a whole number from 0 to 255, not \"%1\"")
                         .arg(parser.value(kSlider));
            return std::nullopt;
        }
        o.slider = *v;
    }
    o.bmp = parser.value(kBmp);
    o.vcd = parser.value(kVcd);
    o.save = parser.value(kSave);
    o.force = parser.isSet(kForce);
    if ((parser.isSet(kBmp) && o.bmp.isEmpty()) || (parser.isSet(kVcd) && o.vcd.isEmpty()) ||
        (parser.isSet(kSave) && o.save.isEmpty())) {
        *error = QStringLiteral("--bmp, --vcd and --save need a file name");
        return std::nullopt;
    }
    return o;
}

bool CliRun::execute(const Options& options) {
    FrontPanel& panel = tester_.panel();
    panel.setValue(Ctl::Analog_ki, options.slider);
    bool first = true;
    for (const QString& path : options.files) {
        if (!load(path))
            continue;
        if (!tester_.powerOn())
            tester_.power().TogglePower(); // as a Go button does
        for (int n = 0; n < options.repeat; ++n) {
            if (!first && wait_)
                wait_(tester_.timerInterval()); // the timer's interval between two ticks
            first = false;
            // A run that meets an invalid constant or an illegal bit switches the timer off.
            const bool timerOff = tester_.runs().tick(options.sequence).timerOff;
            QCoreApplication::processEvents(); // what the window does between two ticks
            if (timerOff)
                break;
        }
    }
    return writeOutputs(options);
}

bool CliRun::load(const QString& path) {
    dialogs_.answerNextOpen(path);
    return tester_.files().Mfile_open_Click();
}

bool CliRun::mayReplace(Dialogs& dialogs, const QString& path, bool force) {
    if (force || saveTarget(path) != SaveTarget::File)
        return true;
    return dialogs.message(FileTexts::overwriteQuestion(QFileInfo(path).fileName()),
                           Dialogs::Buttons::YesNo, Dialogs::Icon::Question,
                           QString()) == Dialogs::Answer::Yes;
}

bool CliRun::writeOutputs(const Options& options) {
    std::fflush(stdout); // an output may go there too (/dev/stdout)
    bool ok = true;
    QString why;
    if (!options.bmp.isEmpty()) {
        if (!mayReplace(dialogs_, options.bmp, options.force))
            ok = false;
        else if (saveBitmap(tester_.trace().image(), options.bmp, Streams::Write, &why) != 0)
            ok = cannotWrite(options.bmp, why);
    }
    if (!options.vcd.isEmpty()) {
        const LineEventLog& log = tester_.lineEvents();
        if (log.empty()) {
            std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(FileTexts::kNoLineEvents));
            ok = false;
        } else if (!mayReplace(dialogs_, options.vcd, options.force)) {
            ok = false;
        } else if (saveWith(
                       options.vcd,
                       [&log](QIODevice& out) { return writeObservationVcd(log, out); },
                       Streams::Write, &why) != 0) {
            ok = cannotWrite(options.vcd, why);
        } else if (log.dropped() > 0) {
            std::fprintf(stderr, "brolmet-cli: %s: %s\n", qPrintable(options.vcd),
                         qPrintable(FileTexts::droppedEvents(log.dropped(), log.maxEvents())));
            ok = false;
        }
    }
    if (!options.save.isEmpty()) {
        const CommandFile file = tester_.files().commandFile(QFileInfo(options.save).fileName());
        const QString problem = file.saveProblem();
        if (!mayReplace(dialogs_, options.save, options.force)) {
            ok = false;
        } else if (!problem.isEmpty()) {
            std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(problem));
            ok = false;
        } else if (file.save(options.save, Streams::Write, &why) != 0) {
            ok = cannotWrite(options.save, why);
        }
    }
    return ok;
}
