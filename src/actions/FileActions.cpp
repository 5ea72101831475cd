#include "actions/FileActions.h"

#include "actions/PowerActions.h"
#include "actions/RunActions.h"
#include "actions/SetupActions.h"
#include "base/Numbers.h"
#include "base/RunTimeError.h"
#include "files/CommandFileReader.h"
#include "files/FileAssociation.h"
#include "model/FileTexts.h"
#include "model/PanelTexts.h"

#include <QFileInfo>

namespace {
const QString kCommandFilter = QStringLiteral("Serial Commands (*.scm)|*.scm|All Files (*.*)|*.*");
const QString kDriveProblem = QStringLiteral("Drive Problem ! No Write in Drive.");
} // namespace

FileActions::FileActions(Workbench& bench, PowerActions& power, SetupActions& setup,
                         RunActions& runs)
    : panel_(bench.panel), dialogs_(bench.dialogs), lines_(bench.lines), trace_(bench.trace),
      state_(bench.state), timer_(bench.timer), power_(power), setup_(setup), runs_(runs) {}

CommandFile FileActions::commandFile(const QString& title) const {
    CommandFile f;
    f.port = static_cast<std::uint8_t>(state_.portNumber);
    f.interval = timer_.interval();
    f.resetTension = static_cast<std::uint8_t>(state_.resetTension);
    f.title = title;
    f.startBit = panel_.isChecked(Ctl::Mset_start);
    f.microwire = panel_.isChecked(Ctl::Mset_micro);
    f.startBitAgain = f.startBit;
    f.noffSelected = panel_.isChecked(Ctl::Noff);
    for (int i = 0; i < 8; ++i)
        f.cells[static_cast<std::size_t>(i)] = panel_.text(FrontPanel::cell(1 + i / 4, 1 + i % 4));
    f.analysis = panel_.isChecked(Ctl::Anal_be);
    f.note = state_.noteText;
    return f;
}

void FileActions::Mfile_save_Click() {
    if (state_.powerOn)
        power_.TogglePower();
    QString name = QStringLiteral("No Title.scm");
    for (;;) {
        const auto path = dialogs_.saveFile(kCommandFilter, name);
        if (!path)
            return; // Cancel ends silently
        name = *path;
        const QString title = QFileInfo(*path).fileName();
        if (existsWithExactName(*path) &&
            dialogs_.message(FileTexts::overwriteQuestion(title), Dialogs::Buttons::YesNo,
                             Dialogs::Icon::Question) == Dialogs::Answer::No)
            return;
        const CommandFile file = commandFile(title);
        if (const QString problem = file.saveProblem(); !problem.isEmpty()) {
            // A text the format cannot hold: nothing is written and nothing changes.
            dialogs_.message(problem);
            return;
        }
        state_.currentFileTitle = title;
        setup_.UpdateTitle();
        const int error = file.save(*path);
        if (error == 0)
            return;
        if (error != RunTimeError::PathFileAccess) {
            dialogs_.message(QStringLiteral("hiba=") + numberText(error));
            return;
        }
        dialogs_.message(kDriveProblem); // and the dialog again
    }
}

bool FileActions::Mfile_open_Click() {
    if (state_.powerOn)
        power_.TogglePower();
    for (;;) {
        const auto path = dialogs_.openFile(kCommandFilter, QString());
        if (!path)
            return false;
        const QString title = QFileInfo(*path).fileName();
        if (!existsWithExactName(*path)) {
            dialogs_.message(FileTexts::notExisting(title), Dialogs::Buttons::Ok,
                             Dialogs::Icon::Critical, notAFileReason(*path));
            return false;
        }
        state_.currentFileTitle = title;
        CommandFileReader file;
        int error = file.open(*path);
        if (error == 0)
            error = applyCommandFile(file);
        if (error == 0 || error == kHeaderRefused)
            return error == 0;
        // Every other failure shows its message, then the dialog again.
        dialogs_.message(error == RunTimeError::PathFileAccess ? kDriveProblem
                                                               : FileTexts::fileError(error));
    }
}

void FileActions::loadAtStartUp(const QString& path) {
    CommandFileReader file;
    int error = file.open(path);
    if (error == 0)
        error = applyCommandFile(file);
    if (error == 0 || error == kHeaderRefused || error == RunTimeError::Cancel)
        return;
    if (error == RunTimeError::FileNotFound)
        dialogs_.message(QStringLiteral("File Not Found !"));
    else if (error == RunTimeError::PathFileAccess)
        dialogs_.message(QStringLiteral("Drive Problem !"), Dialogs::Buttons::Ok,
                         Dialogs::Icon::None, notAFileReason(path));
    else
        dialogs_.message(FileTexts::fileError(error) + QLatin1Char(' ') + path);
}

int FileActions::applyCommandFile(CommandFileReader& file) {
    const CommandFile::Read read = CommandFile::read(file);
    if (read.error == CommandFile::kNotCompatible) {
        file.close();
        dialogs_.message(FileTexts::kNotCompatible, Dialogs::Buttons::Ok, Dialogs::Icon::Critical);
        return kHeaderRefused;
    }
    // Each value takes effect in the order of the lines, up to the line that failed.
    const CommandFile& f = read.file;
    const auto wasRead = [&read](int line) { return read.lines >= line; };
    if (wasRead(2))
        state_.portNumber = f.port;
    if (wasRead(3))
        applyInterval(f.interval);
    if (wasRead(4)) {
        state_.resetTension = f.resetTension;
        panel_.setText(FrontPanel::panel(11), PanelTexts::resetTime(f.resetTension));
    }
    if (wasRead(5))
        state_.currentFileTitle = f.title;
    if (wasRead(6)) {
        panel_.setChecked(Ctl::Mset_start, f.startBit);
        setup_.showStartBit(f.startBit);
    }
    if (wasRead(7))
        applyMode(f.microwire);
    if (wasRead(8))
        applyStartBitAgain(f.startBitAgain);
    if (wasRead(9))
        applyNonStop(f.noffSelected);
    for (int i = 0; i < FrontPanel::kCells && wasRead(10 + i); ++i)
        panel_.setText(FrontPanel::cell(1 + i / 4, 1 + i % 4),
                       f.cells[static_cast<std::size_t>(i)]);
    if (wasRead(18)) {
        panel_.setChecked(Ctl::Anal_be, f.analysis);
        lines_.setAnalysisOn(f.analysis);
        trace_.clear();
    }
    if (!wasRead(19))
        return read.error;
    state_.noteText = f.note;
    panel_.setText(Ctl::Megjegyzes, PanelTexts::note(state_.noteText));
    file.close();
    setup_.UpdateTitle();
    return 0;
}

void FileActions::applyInterval(int interval) {
    timer_.setInterval(interval);
    panel_.setText(FrontPanel::panel(8), PanelTexts::interval(interval));
    power_.setPortPanel();
    lines_.port().selectPort(state_.portNumber);
}

void FileActions::applyMode(bool microwire) {
    panel_.setChecked(Ctl::Mset_micro, false);
    if (microwire) {
        setup_.Mset_micro_Click(); // the whole Microwire presentation, start bit from the check
    } else {
        setup_.showI2cColumn();
        panel_.setText(FrontPanel::panel(10), PanelTexts::startBit(false));
    }
}

void FileActions::applyStartBitAgain(bool on) {
    panel_.setChecked(Ctl::Mset_start, on);
    setup_.showStartBitOfMode(on);
}

void FileActions::applyNonStop(bool noffSelected) {
    if (noffSelected) {
        runs_.selectOption(Ctl::Noff);
    } else {
        for (Ctl option : {Ctl::Noff, Ctl::Ns1, Ctl::Ns2, Ctl::Ns12})
            panel_.setChecked(option, false);
    }
    timer_.stop();
}

void FileActions::Mset_asoc_Click() {
    FileAssociation::associateScmFiles();
    dialogs_.message(FileAssociation::kDoneMessage);
}

void FileActions::Mfile_about_Click() {
    dialogs_.message(FileTexts::aboutText());
}
