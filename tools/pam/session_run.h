#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace roamer::pam
{

struct SessionRun {
    bool isOver = false;  ///< Not: the time was up before the program ended; it goes on.
    int exitStatus = -1;  ///< Of a program that ended by itself.
    std::string lastLine; ///< Of what it said on standard error, for the person; "" when all is well.
};

/// Runs the program with the text on its standard input and waits for its end, at most so many seconds. The program
/// gets the environment that is given and no other open file.
SessionRun runSession(const std::string& program, const std::vector<std::string>& arguments,
                      const std::vector<std::string>& environment, std::string_view input, int seconds);

} // namespace roamer::pam
