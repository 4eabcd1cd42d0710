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
    struct winsize told {};
    Size size;
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &told) != 0)
        return size;
    if (told.ws_row > 0)
        size.rows = told.ws_row;
    if (told.ws_col > 0)
        size.columns = told.ws_col;
    return size;
}

} // namespace Platform::Terminal
