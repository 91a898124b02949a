#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unistd.h>

#include "colour.h"
#include "commands.h"

namespace roamer::ctl
{

void complain(const std::string& words)
{
    std::fflush(stdout);
    std::fprintf(stderr, "%s%s\n", colouredReason("roamerctl: ", Colour::Wrong).c_str(), words.c_str());
}

ExitStatus refuse(const std::string& reason)
{
    complain(reason);
    return kRefused;
}

std::string siblingProgram(const std::string& name)
{
    std::error_code error;
    const auto own = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto beside = own.parent_path() / name;
    return !error && access(beside.c_str(), X_OK) == 0 ? beside.string() : name;
}

ExitStatus become(const std::string& program, const std::vector<std::string>& arguments)
{
    std::vector<char*> vector = {const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments)
        vector.push_back(const_cast<char*>(argument.c_str()));
    vector.push_back(nullptr);
    std::fflush(nullptr);
    execvp(program.c_str(), vector.data());
    return refuse("\"" + program + "\" cannot be started: " + std::strerror(errno) + ". Is the package whole?");
}

} // namespace roamer::ctl
