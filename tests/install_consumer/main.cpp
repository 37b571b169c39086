// The version macros that <rpl/rpl.h> brings agree with the package that
// was found; prints the version string.
#include <rpl/rpl.h>

#include <cstdio>
#include <string>

static_assert(RPL_VERSION_MAJOR == PACKAGE_MAJOR && RPL_VERSION_MINOR == PACKAGE_MINOR &&
                  RPL_VERSION_PATCH == PACKAGE_PATCH,
              "the headers' version is not the package's");

int main() {
    std::string parts = std::to_string(RPL_VERSION_MAJOR) + "." + std::to_string(RPL_VERSION_MINOR) + "." +
                        std::to_string(RPL_VERSION_PATCH);
    std::printf("%s\n", RPL_VERSION_STRING);
    return parts == RPL_VERSION_STRING ? 0 : 1;
}
