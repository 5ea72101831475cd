#include "model/FileTexts.h"

#include "base/Numbers.h"

namespace FileTexts {

namespace {
QString quoted(const QString& fileName) {
    return QLatin1Char('\'') + fileName + QLatin1Char('\'');
}
} // namespace

QString overwriteQuestion(const QString& fileName) {
    return quoted(fileName) + QStringLiteral(" is exist ! Overwrite ?");
}

QString notExisting(const QString& fileName) {
    return quoted(fileName) + QStringLiteral(" is NOT exist !");
}

QString fileError(int error) {
    return QStringLiteral("Eror in File funktions ! Error Code:") + numberText(error);
}

QString aboutText() {
    return kProductName + QStringLiteral("\r\n"
                                         "I2C and Microwire ICs system monitor and commander.\r\n"
                                         "Written by the developers of the Tamsolvix project.\r\n"
                                         "Use PonyProg Base Board and Test Board.\r\n"
                                         "Sources, issues and news: the Tamsolvix project "
                                         "repository.\r\n"
                                         "With thanks to the PonyProg project for its serial "
                                         "adapter.\r\n");
}

QString droppedEvents(std::size_t dropped, std::size_t kept) {
    return QStringLiteral("The run had %1 line events more than the log keeps: the export holds "
                          "its first %2 events only.")
        .arg(dropped)
        .arg(kept);
}

} // namespace FileTexts
