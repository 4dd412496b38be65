#include "flatctl/common/setting_output.h"

#include "flatctl/common/secrets.h"
#include "flatctl/common/text_write.h"

#include <unistd.h>

using namespace flatlink;

setting_output::setting_output(bool is_revealed)
    : is_terminal_(isatty(STDOUT_FILENO) != 0), is_revealed_(is_revealed)
{
}

void setting_output::take(std::string_view bytes)
{
    if (!is_terminal_) {
        put(bytes);
        return;
    }
    for (const char c : bytes) {
        if (c != '\n') {
            line_ += c;
            continue;
        }
        put(shown_setting(line_, is_revealed_) + "\n");
        line_.clear();
    }
}
