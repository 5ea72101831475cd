#pragma once

#include "model/AdapterTexts.h"

#include <QJsonObject>

#include <cstdio>
#include <vector>

class PortBackend;

// brolmet-cli ports: the machine's serial devices with the port numbers that open them (by the
// --device options and the settings store), as text or as one JSON object. Nothing is opened.
namespace CliPorts {

QJsonObject json(const std::vector<AdapterTexts::ListedPort>& ports);
// Prints the listing to out; the exit status (0).
int print(const PortBackend& port, bool asJson, std::FILE* out);

} // namespace CliPorts
