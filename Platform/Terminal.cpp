#include "Platform/Terminal.h"

#include "Platform/StandardStreams.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace Platform::Terminal {

namespace {

std::string_view variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool isDumb() {
    return variable("TERM") == "dumb";
}

} // namespace

bool outputTakesEscapes() {
    return StandardStreams::outputIsTerminal() && !isDumb();
}

bool errorTakesEscapes() {
    return StandardStreams::errorIsTerminal() && !isDumb();
}

bool outputTakesColours() {
    return outputTakesEscapes() && variable("NO_COLOR").empty();
}

Size outputSize() {
    struct winsize window {};
    Size size;
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) != 0)
        return size;
    if (window.ws_row > 0)
        size.rows = window.ws_row;
    if (window.ws_col > 0)
        size.columns = window.ws_col;
    return size;
}

} // namespace Platform::Terminal
