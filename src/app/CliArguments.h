#pragma once

#include <QString>
#include <QStringList>

class QCommandLineParser;

// What brolmet-cli says about its arguments and what it lets Qt say on standard error.
namespace CliArguments {

// Standard error carries the tool's own messages only: Qt's own are dropped unless fatal.
void qtMessage(QtMsgType type, const QMessageLogContext& context, const QString& text);
// The parser's complaint about an argument it does not know, with the argument as typed.
QString unknownOption(const QCommandLineParser& parser, const QStringList& arguments);
// An argument that the platform's file-name encoding (UTF-8) cannot carry; empty when all fit.
QString undecodable(int argc, char** argv);

} // namespace CliArguments
