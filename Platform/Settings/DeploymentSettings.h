#pragma once

#include <optional>
#include <string>

namespace Platform {

/// What an installation may set for every user: `deployment.json` in the product's folder under the configuration
/// home, else under each configuration directory in turn (Environment.h); the first file that is a JSON object
/// counts. A value that is absent or of the wrong type is the built-in one; a wrong type is logged once.
///
/// A file that cannot be read now (EACCES, EMFILE, EIO and the like) is not treated as absent, since the host
/// that it names may be another than the one built in: the settings stay as they were, and are read again at the next
/// use. Before they could ever be read, there is no host.
struct DeploymentSettings {
    /// Host of the web service, with ":port" where it is not that of the scheme. A value that is no host name or
    /// address with an optional port ("http://x/", "a b", "") is logged and counts as absent. Empty while the settings
    /// could not be read yet: no URL can be made of it, so that requests fail with the error of a bad URL.
    std::string serviceHost;
    /// "http" or "https", in any case in the file. Nothing is sent in clear because of a mistake: after another value,
    /// or a wrong one of `certificateAuthorities`, which are logged, there is no host.
    std::string serviceScheme = "http";
    /// A PEM file whose authorities alone are trusted, an absolute path; nil for those of the system.
    std::optional<std::string> certificateAuthorities = std::nullopt;
    /// The published release number.
    double appKitVersionNumber = 1343.0;
    /// How the service treats failures: as the desktop application expects, or for unattended machines.
    /// "compatible" or "managed" in the file; another value is logged and counts as absent.
    enum class Mode { Compatible, Managed };
    /// In force.
    Mode mode = Mode::Compatible;
    /// The folder in which files are staged for their upload, an absolute path; nil for the home directory. Another
    /// value is logged and counts as absent.
    std::optional<std::string> stagingDirectory = std::nullopt;

    /// The settings of this process as the files say now, or said earlier in the same turn of the loop;
    /// `appKitVersionNumber` and `mode` stay as they were first read. May be called from any thread.
    static DeploymentSettings current();

    /// Whether `serviceHost` is a loopback name or address ("localhost", a name below it, 127.0.0.0/8, "[::1]";
    /// RFC 6761, section 6.3).
    bool hostIsLoopback() const;
};

} // namespace Platform
