#pragma once

#include "SharedDevice.h"

#include <Poco/JSON/Object.h>
#include <Poco/Timespan.h>

#include <memory>
#include <string>
#include <vector>

namespace pemo::test {

// The device of the skill and notification tests, shared by the whole test
// program: the default configuration plus a mode "ghost" whose user does not
// exist, a development search directory inside the installed one
// ("/opt/pemo/Pemo/Skills/dev"), and a "probe" skill that exits with the
// status given in its context ("exit N") or idles until terminated.
SimDevice& skillDevice();
ApiClient skillApi();

// Host paths of the device's installed and development skill directories.
std::string installedSkills();
std::string developmentSkills();

// Installs a skill directory on the device: package.json with the given
// text, and optionally an executable main.sh.
void installSkill(const std::string& directory, const std::string& package, const std::string& mainScript = "");

// Every launch the demo runtime reported, oldest first.
std::vector<Poco::JSON::Object::Ptr> launchReports();

// Polls condition every 100 ms until it holds or timeout passes.
inline bool eventually(const std::function<bool()>& condition, Poco::Timespan timeout)
{
    return eventually(condition, std::chrono::milliseconds(timeout.totalMilliseconds()));
}

// The tokens /session/list answers with.
std::vector<std::string> sessionTokens();

// The entry of /skill/list for name; null when it is not listed.
Poco::JSON::Object::Ptr listedSkill(const std::string& name);

// The lines of the system manager's log that contain text.
inline std::vector<std::string> logLines(const std::string& text) { return logLines(skillDevice(), text); }

} // namespace pemo::test
