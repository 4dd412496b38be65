#include "flatctl/common/line_list.h"

using namespace flatlink;

std::string flatlink::line_ranges(std::span<const std::int32_t> lines, std::size_t most)
{
    std::string text;
    std::size_t pieces = 0;
    for (std::size_t i = 0; i < lines.size();) {
        std::size_t last = i;
        while (last + 1 < lines.size() && lines[last + 1] == lines[last] + 1)
            ++last;
        if (++pieces > most)
            return text + " and " + std::to_string(lines.size() - i) + " more";
        text += (i == 0 ? "" : " ") + std::to_string(lines[i]);
        if (last > i)
            text += "-" + std::to_string(lines[last]);
        i = last + 1;
    }
    return text;
}
