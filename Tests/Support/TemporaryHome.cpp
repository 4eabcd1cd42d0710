#include "Support/TemporaryHome.h"

namespace TestSupport {

TemporaryHome::TemporaryHome()
    : environment_{{"HOME", path()},
                   {"XDG_CONFIG_HOME", config_.path()},
                   {"XDG_CONFIG_DIRS", config_.path("none")},
                   {"XDG_CACHE_HOME", cache_.path()},
                   {"TMPDIR", temporary_.path()}} {}

void TemporaryHome::setDeployment(std::string_view json) const {
    config_.write("quenmark/deployment.json", json);
}

void TemporaryHome::setPreferences(std::string_view json) const {
    config_.write("quenmark/Velkarin.Quenmark.json", json);
}

void TemporaryHome::setOwnPreferences(std::string_view json) const {
    config_.write("quenmark/TopFileUploadXpcService.json", json);
}

std::string TemporaryHome::preferencesFile() const {
    return config_.path("quenmark/Velkarin.Quenmark.json");
}

std::string TemporaryHome::preferencesFor(const std::string& folder, const std::string& computer) {
    return R"({"computerIdKey":")" + computer + R"(","userIdKey":"42","quenmarkPathKey":")" + folder + "\"}";
}

} // namespace TestSupport
