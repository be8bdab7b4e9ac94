#pragma once

#include <QStringList>

class StandinServer;

/** Every stand-in service on one server, and the environment that points Kinovela at it. */
namespace StandinServices {

void installAll(StandinServer &server);
/** "NAME=value" lines for the service addresses. */
QStringList environment(const StandinServer &server);
/** Sets those variables in this process. */
void exportEnvironment(const StandinServer &server);

} // namespace StandinServices
