#include "stand_ins/confine.h"

#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

// What changes a file, and what changes a folder. The first kernels to offer the protection know
// neither of the last two.
constexpr std::uint64_t refer_right = 1U << 13;
constexpr std::uint64_t truncate_right = 1U << 14;
constexpr std::uint64_t file_rights = LANDLOCK_ACCESS_FS_WRITE_FILE | truncate_right;
constexpr std::uint64_t folder_rights =
    LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
    LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SOCK |
    LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM |
    refer_right;

static std::uint64_t known_rights(long version)
{
    std::uint64_t rights = file_rights | folder_rights;
    if (version < 2)
        rights &= ~refer_right;
    if (version < 3)
        rights &= ~truncate_right;
    return rights;
}

static void allow(int rules, const char *path, std::uint64_t rights)
{
    landlock_path_beneath_attr rule = {};
    rule.allowed_access = rights;
    rule.parent_fd = open(path, O_PATH | O_CLOEXEC);
    if (rule.parent_fd < 0)
        return; // what is not there is not written to
    syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    close(rule.parent_fd);
}

void confine_writes(const std::vector<std::string> &folders)
{
    const long version =
        syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return;
    landlock_ruleset_attr handled = {};
    handled.handled_access_fs = known_rights(version);
    const long rules = syscall(SYS_landlock_create_ruleset, &handled, sizeof handled, 0);
    if (rules < 0)
        return;
    for (const std::string &folder : folders)
        allow(static_cast<int>(rules), folder.c_str(), handled.handled_access_fs);
    allow(static_cast<int>(rules), "/dev/null", handled.handled_access_fs & file_rights);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0)
        syscall(SYS_landlock_restrict_self, rules, 0);
    close(static_cast<int>(rules));
}
