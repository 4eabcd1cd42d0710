#pragma once

#include "WebService/Common/Descriptor.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace webservice::test {

/// Gives this process a user and mounts of its own, in which it is root (user_namespaces(7)). The process must have one
/// thread.
inline void enterNamespaces() {
    const auto writeTo = [](const char* path, const std::string& text) { std::ofstream(path) << text; };
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        throwErrno("unshare");
    writeTo("/proc/self/setgroups", "deny");
    writeTo("/proc/self/uid_map", "0 " + user + " 1");
    writeTo("/proc/self/gid_map", "0 " + group + " 1");
}

/// A disk of a given size, "64k", at a folder, for this process and those that it starts; in namespaces of its own.
class SmallDisk {
public:
    SmallDisk(std::string folder, const std::string& size) : folder_(std::move(folder)) {
        if (::mount("none", folder_.c_str(), "tmpfs", 0, ("size=" + size).c_str()) != 0)
            throwErrno("mount");
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() { ::umount2(folder_.c_str(), MNT_DETACH); }

    /// Takes all of the room that is left.
    void fill() const {
        std::ofstream file(folder_ + "/filler");
        for (const std::string piece(4096, 'x'); file.write(piece.data(), 4096).flush();) {
        }
    }

    void makeRoom() const { ::unlink((folder_ + "/filler").c_str()); }

private:
    std::string folder_;
};

} // namespace webservice::test
