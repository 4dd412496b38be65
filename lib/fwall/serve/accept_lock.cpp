#include "lib/fwall/serve/accept_lock.h"

#include "lib/fwall/serve/daemon_signals.h"
#include "lib/fwall/serve/temp_name.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

using namespace flatlink;

static int lock_fd = -1; // -1 without a lock

static flock whole_file(short type)
{
    return {.l_type = type, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
}

void lock_init(const char *port)
{
    constexpr mode_t OWNER_ONLY = 0600;
    const std::string wanted = "/usr/tmp/" + std::string(text_of(port)) + "lock.XXXXXX";
    std::string name = wanted;
    if (make_temp_name(name.data()) == nullptr || name[0] == '\0') {
        notice(EVENT_LOCK_NAME, 0, "syserr: can't create lock file");
        name = wanted;
    }
    lock_fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, OWNER_ONLY);
    if (lock_fd < 0) {
        notice(EVENT_SYSTEM, 0, "syserr: can't create lock file %s: %s", name.c_str(),
               std::strerror(errno));
        return;
    }
    (void)unlink(name.c_str()); // a leftover is harmless: the name is never used again
}

void accept_lock()
{
    flock request = whole_file(F_WRLCK);
    int result = 0;
    do {
        const signals_open open;
        result = lock_fd < 0 ? 0 : fcntl(lock_fd, F_SETLKW, &request);
    } while (result != 0 && errno == EINTR);
    if (result != 0)
        notice(EVENT_SYSTEM, 0, "syserr: error handling accept lock: %s", std::strerror(errno));
}

void accept_unlock()
{
    flock request = whole_file(F_UNLCK);
    if (lock_fd >= 0 && fcntl(lock_fd, F_SETLK, &request) != 0)
        notice(EVENT_SYSTEM, 0, "syserr: error handling accept lock");
}
