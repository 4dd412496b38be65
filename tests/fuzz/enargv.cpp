// Splits any bytes into arguments and looks whether the result keeps to its arrays, and whether
// smaller arrays lose the end and nothing else.
#include "lib/fwall/table/enargv.h"

#include "tests/fuzz/must.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace
{

struct scanned {
    std::vector<char *> argv;
    std::vector<char> buffer;
    int argc;

    scanned(std::string_view text, int capacity, std::size_t size)
        : argv(static_cast<std::size_t>(capacity)), buffer(size),
          argc(enargv(text, argv.data(), capacity, buffer.data(), static_cast<int>(size)))
    {
        std::size_t used = 0;
        int count = 0;
        for (; argv[static_cast<std::size_t>(count)] != nullptr; ++count) {
            // One after the other, from the front of the buffer.
            must(argv[static_cast<std::size_t>(count)] == buffer.data() + used, "a gap");
            used += std::strlen(buffer.data() + used) + 1;
            must(used <= size, "more than the buffer");
        }
        must(count < capacity, "more than the array");
        must(argc == -1 || argc == count, "a wrong count");
    }

    std::string first(int count) const
    {
        std::string all;
        for (int i = 0; i < count && argv[static_cast<std::size_t>(i)] != nullptr; ++i)
            all.append(argv[static_cast<std::size_t>(i)]).append(1, '\0');
        return all;
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    const int capacity = data[0] % 16 + 1;
    const std::size_t room = data[1];
    const std::string_view text(reinterpret_cast<const char *>(data) + 2, size - 2);

    // Each argument takes at least a byte of the text, and its terminator another.
    const scanned whole(text, static_cast<int>(size) + 1, 2 * size);
    must(whole.argc >= 0, "no room in the largest");
    const scanned few(text, capacity, 2 * size);
    must(few.argc == std::min(whole.argc, capacity - 1), "not the first of them");
    must(few.first(few.argc) == whole.first(few.argc), "others than the first");
    const scanned small(text, static_cast<int>(size) + 1, room);
    must(small.argc == -1 || small.argc == whole.argc, "less for want of bytes");
    must(small.argc == whole.argc || room < whole.first(whole.argc).size(), "room not used");
    if (text.find('\0') == std::string_view::npos) {
        const std::string copy(text);
        std::vector<char *> argv(size + 1);
        std::vector<char> buffer(2 * size);
        must(enargv(copy.c_str(), argv.data(), static_cast<int>(size) + 1, buffer.data(),
                    static_cast<int>(2 * size)) == whole.argc,
             "a terminated text differs");
    }
    return 0;
}
