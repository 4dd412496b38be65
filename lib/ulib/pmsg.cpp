#include "lib/ulib/pmsg.h"

#include "lib/ulib/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <syslog.h>

using namespace flatlink;

int uselog = 0;

void pmsg(const char *message, int useerrno, const UNIQUE_DATA_T &uniq)
{
    constexpr std::size_t TEXT_LENGTH = 1023;
    const int error = errno; // before any call that may change it
    std::string text(text_of(message).substr(0, TEXT_LENGTH));
    if (useerrno != 0)
        text.append(": ").append(std::strerror(error));
    if (text.size() > TEXT_LENGTH)
        text.resize(TEXT_LENGTH);
    if (uselog != 0) {
        SendLog(servContext, connContext, uniq, REPORT_NOTICE, "%s", text.c_str());
        return;
    }
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
}

void exitmsg(std::time_t starttime, const char *name, const UNIQUE_DATA_T &uniq)
{
    std::string text = name == nullptr ? std::string() : std::string(name) + " ";
    text += "exit duration=" + std::to_string(std::time(nullptr) - starttime) + " seconds";
    pmsg(text.c_str(), 0, uniq);
    if (uselog != 0)
        closelog();
}
