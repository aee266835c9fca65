#include "SkillDevice.h"

#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/JSON/Array.h>
#include <Poco/Thread.h>
#include <Poco/Timestamp.h>

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace pemo::test {

namespace {

const char PROBE_MAIN[] = R"(#!/bin/sh
# Arguments: REGISTRY_URI ENTRY_FILE CONTEXT
case "$3" in
  exit\ *) sleep 0.3; exit "${3#exit }" ;;
esac
trap 'exit 0' TERM
while :; do sleep 0.2; done
)";

void addDevelopmentDirectoryAndGhostMode(Poco::JSON::Object& config)
{
    Poco::JSON::Object::Ptr skill = config.getObject("SystemManager")->getObject("skill");
    skill->getObject("path")->getArray("devs")->add(std::string("/opt/pemo/Pemo/Skills/dev"));
    Poco::JSON::Object::Ptr ghost = new Poco::JSON::Object;
    ghost->set("user", std::string("ghost-user"));
    skill->getObject("modes")->set("ghost", ghost);
}

} // namespace

SimDevice& skillDevice()
{
    SimOptions options;
    options.overlays = {{{"opt/pemo/Pemo/Skills/probe/package.json",
                          R"({"name": "probe", "version": "1", "pemo": {"main": "main.sh"}})"},
                         {"opt/pemo/Pemo/Skills/probe/main.sh", PROBE_MAIN}}};
    options.config = addDevelopmentDirectoryAndGhostMode;
    return sharedDevice(options);
}

ApiClient skillApi()
{
    return ApiClient(skillDevice().port(), skillDevice().token());
}

std::string installedSkills()
{
    return skillDevice().statePath("device/opt/pemo/Pemo/Skills");
}

std::string developmentSkills()
{
    return skillDevice().statePath("device/opt/pemo/Dev/Skills");
}

void installSkill(const std::string& directory, const std::string& package, const std::string& mainScript)
{
    Poco::File(directory).createDirectories();
    {
        Poco::FileOutputStream out(directory + "/package.json");
        out << package;
    }
    if (mainScript.empty())
        return;
    {
        Poco::FileOutputStream out(directory + "/main.sh");
        out << mainScript;
    }
    Poco::File(directory + "/main.sh").setExecutable(true);
}

std::vector<Poco::JSON::Object::Ptr> launchReports()
{
    std::vector<Poco::JSON::Object::Ptr> reports;
    std::istringstream lines(skillDevice().readStateFile("calls/pemo-skill-runtime.launch"));
    std::string line;
    while (std::getline(lines, line))
        if (!line.empty())
            reports.push_back(parseObject(line));
    return reports;
}

std::vector<std::string> sessionTokens()
{
    const HttpResponse r = skillApi().get("/session/list");
    if (r.status != 200)
        return {};
    return elements<std::string>(parseObject(r.body)->getArray("sessions"));
}

Poco::JSON::Object::Ptr listedSkill(const std::string& name)
{
    const HttpResponse r = skillApi().get("/skill/list");
    if (r.status != 200)
        return nullptr;
    Poco::JSON::Array::Ptr skills = parseObject(r.body)->getArray("skills");
    for (std::size_t i = 0; i < skills->size(); ++i)
    {
        Poco::JSON::Object::Ptr skill = skills->getObject(static_cast<unsigned>(i));
        if (skill->getValue<std::string>("name") == name)
            return skill;
    }
    return nullptr;
}

} // namespace pemo::test
