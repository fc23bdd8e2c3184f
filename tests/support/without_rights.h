// Root's rights would make every test of permissions pass.
#ifndef PAPERMILL_TESTS_SUPPORT_WITHOUT_RIGHTS_H
#define PAPERMILL_TESTS_SUPPORT_WITHOUT_RIGHTS_H

#include <linux/capability.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <unistd.h>

// While there is one, root is a user as any other.
class without_rights {
public:
    without_rights()
    {
        if (syscall(SYS_capget, &header, before) != 0)
            throw std::runtime_error("the process's capabilities cannot be read");
        __user_cap_data_struct none[] = {before[0], before[1]};
        none[0].effective = 0;
        none[1].effective = 0;
        if (syscall(SYS_capset, &header, none) != 0)
            throw std::runtime_error("the process's capabilities cannot be put aside");
    }
    ~without_rights()
    {
        syscall(SYS_capset, &header, before);
    }
    without_rights(const without_rights &) = delete;
    without_rights &operator=(const without_rights &) = delete;

private:
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct before[_LINUX_CAPABILITY_U32S_3] = {};
};

#endif
