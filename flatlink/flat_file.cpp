#include "flatlink/flat_file.h"

#include "flatlink/driver.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/line.h"
#include "flatlink/records/post_decode.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace flatlink;

char *vpn_getline(char *buffer, int size, std::FILE *stream)
{
    if (std::fgets(buffer, size, stream) == nullptr)
        return nullptr;
    if (char *newline = std::strrchr(buffer, '\n'))
        *newline = '\0';
    return buffer;
}

void vpn_error_exit(int status)
{
    std::exit(status);
}

void read_vpndata55(const char *path, bool vpn_only)
{
    if (path != nullptr)
        network_database = path;
    if (network_database == nullptr)
        network_database = DEFAULT_DATABASE;
    std::FILE *file = std::fopen(network_database, "re");
    if (file == nullptr) {
        complain(std::string("vpndata:Can't open database ") + network_database);
        vpn_error_exit(1);
    }
    std::array<char, FLAT_LINE_SIZE> buffer{};
    while (const char *line = vpn_getline(buffer.data(), static_cast<int>(buffer.size()), file))
        if (!decode_vpn_buffer(line) && !vpn_only)
            decode_nonvpn_buffer(line);
    std::fclose(file);
    (void)post_decode();
}
