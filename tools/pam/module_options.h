#pragma once

#include <string>

namespace roamer::pam
{

/// What the PAM configuration says after the module's name.
struct ModuleOptions {
    int timeoutSeconds = 300; ///< timeout=SECONDS: how long a login or logout may be kept waiting.
    bool networkHome = false; ///< network_home: this computer works on the network homes themselves.
    std::string program;      ///< program=PATH: roamer-session.
    std::string systemRoot;   ///< root=PATH: the system root.
    std::string countsFolder; ///< run=PATH: where the sessions are counted.
};

/// Unknown options are logged and ignored.
ModuleOptions parseOptions(int argc, const char** argv);

} // namespace roamer::pam
