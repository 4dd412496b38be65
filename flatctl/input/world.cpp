#include "flatctl/input/world.h"

#include "flatctl/common/json_write.h"
#include "flatctl/common/request.h"
#include "flatctl/common/text_write.h"
#include "flatctl/input/run_child.h"
#include "lib/kdev/platform/platform.h"
#include "lib/kdev/platform/route_message.h"
#include "lib/kdev/vpn_device.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <netdb.h>
#include <set>
#include <sstream>
#include <unistd.h>

using namespace flatlink;

// ---- files

// Calls `take` with the words of each line that has any; it returns false for a line of another
// form. A '#' begins a comment. Returns what is wrong, with path and line.
template <typename taker> static std::string read_words(const std::string &path, taker take)
{
    std::ifstream file(path);
    int number = 1;
    for (std::string line; std::getline(file, line); ++number) {
        std::istringstream text(line.substr(0, line.find('#')));
        std::vector<std::string> words;
        for (std::string word; text >> word;)
            words.push_back(word);
        if (!words.empty() && !take(words))
            return shown(path) + ":" + std::to_string(number) +
                   ": not of the form that is expected";
    }
    return file.eof() ? "" : shown(path) + ": " + std::strerror(errno);
}

static bool take_address(const std::string &word, u32 &addr_be)
{
    return inet_pton(AF_INET, word.c_str(), &addr_be) == 1;
}

std::string flatlink::read_world(const request &asked, known_world &world)
{
    world.may_resolve = asked.resolve;
    std::string error;
    if (!asked.names.empty())
        error = read_words(asked.names, [&](const std::vector<std::string> &words) {
            u32 addr_be = 0;
            if (!take_address(words[0], addr_be)) // a line for the other family
                return words[0].find(':') != std::string::npos;
            for (std::size_t i = 1; i < words.size(); ++i)
                world.hosts.push_back({lower_case(words[i]), addr_be});
            return words.size() > 1;
        });
    if (!asked.routes.empty() && error.empty())
        error = read_words(asked.routes, [&](const std::vector<std::string> &words) {
            known_world::route route{};
            const bool is_pair = words.size() == 2 && take_address(words[0], route.towards_be) &&
                                 take_address(words[1], route.own_be);
            world.routes.push_back(route);
            return is_pair;
        });
    return error;
}

void flatlink::read_services(known_world &world)
{
    while (const servent *entry = getservent()) {
        world.services.push_back({entry->s_name, entry->s_proto, entry->s_port});
        for (char *const *alias = entry->s_aliases; *alias != nullptr; ++alias)
            world.services.push_back({*alias, entry->s_proto, entry->s_port});
    }
    endservent();
}

// ---- names

static constexpr std::uint32_t NO_ONE = 65534; // number of the user and group without rights

static const known_world *known = nullptr;
static const child_port *port = nullptr;

static std::vector<std::string> look_ups;

// Each question is told once; a look-up of the same name may come a thousand times.
//   answer  empty: there is none
static void tell_question(const std::string &name, const std::string &answer)
{
    static std::set<std::string> told;
    if (!told.insert(name).second)
        return;
    look_ups.push_back(answer.empty() ? name : name + "=" + answer);
    port->send(frame_kind::NAME, look_ups.back());
}

std::span<const std::string> flatlink::look_ups_so_far()
{
    return look_ups;
}

static hostent *answer_of(const char *name, u32 addr_be)
{
    static std::string own_name;
    static u32 own_addr_be;
    static std::array<char *, 2> list;
    static std::array<char *, 1> no_aliases;
    static hostent answer;
    own_name = name;
    own_addr_be = addr_be;
    list = {reinterpret_cast<char *>(&own_addr_be), nullptr};
    answer = {own_name.data(), no_aliases.data(), AF_INET, sizeof own_addr_be, list.data()};
    return &answer;
}

static hostent *told_answer(const char *name, hostent *answer)
{
    u32 addr_be = 0;
    const bool is_answered = answer != nullptr && answer->h_length == sizeof addr_be &&
                             answer->h_addr_list[0] != nullptr;
    if (is_answered)
        std::memcpy(&addr_be, answer->h_addr_list[0], sizeof addr_be);
    tell_question(name, is_answered ? format_address(addr_be) : "");
    return answer;
}

static hostent *told_name(u32 addr_be, hostent *answer)
{
    const bool is_answered = answer != nullptr && answer->h_name != nullptr;
    tell_question(format_address(addr_be), is_answered ? answer->h_name : "");
    return answer;
}

static hostent *host_by_name(const char *name)
{
    // A dotted address answers for itself, and nothing is looked up.
    if (name[0] != '\0' && name[std::strspn(name, "0123456789.")] == '\0')
        return gethostbyname(name);
    const auto found = std::ranges::find(known->hosts, lower_case(std::string_view(name)),
                                         &known_world::host::name);
    if (found != known->hosts.end())
        return told_answer(name, answer_of(name, found->addr_be));
    return told_answer(name, known->may_resolve ? gethostbyname(name) : nullptr);
}

static hostent *host_by_address(const void *addr, socklen_t size, int family)
{
    u32 addr_be = 0;
    if (family != AF_INET || size != sizeof addr_be)
        return nullptr;
    std::memcpy(&addr_be, addr, sizeof addr_be);
    const auto found = std::ranges::find(known->hosts, addr_be, &known_world::host::addr_be);
    if (found != known->hosts.end())
        return told_name(addr_be, answer_of(found->name.c_str(), addr_be));
    return told_name(addr_be, known->may_resolve ? gethostbyaddr(addr, size, family) : nullptr);
}

static servent *service_by_name(const char *name, const char *protocol)
{
    static servent answer;
    for (const known_world::service &service : known->services) {
        if (service.name != name || (protocol != nullptr && service.protocol != protocol))
            continue;
        answer = {const_cast<char *>(service.name.c_str()), nullptr, service.port_be,
                  const_cast<char *>(service.protocol.c_str())}; // for readers alone
        return &answer;
    }
    return nullptr;
}

// An account that is not asked about exists, with no right that any other lacks.
static passwd *user_by_name(const char *name)
{
    static passwd answer;
    if (known->may_resolve)
        return getpwnam(name);
    tell_question(std::string("user ") + name, "");
    answer.pw_uid = NO_ONE;
    return &answer;
}

static group *group_by_name(const char *name)
{
    static group answer;
    if (known->may_resolve)
        return getgrnam(name);
    tell_question(std::string("group ") + name, "");
    answer.gr_gid = NO_ONE;
    return &answer;
}

// ---- routes

static constexpr std::string_view OF_ROUTE = "route to ";

static void tell_route(u32 towards_be, bool is_known, u32 own_be)
{
    tell_question(std::string(OF_ROUTE) + format_address(towards_be),
                  is_known ? format_address(own_be) : "");
}

void flatlink::write_look_ups(json_writer &json, std::span<const std::string> all)
{
    const auto write_list = [&](std::string_view name, auto is_wanted, bool keeps_kind) {
        json.open(name, '[');
        for (const std::string_view look_up : all) {
            const std::string_view question = look_up.substr(0, look_up.find('='));
            const bool is_route = question.starts_with(OF_ROUTE);
            if (is_wanted(is_route, question.size() < look_up.size()))
                json.text("", question.substr(is_route && !keeps_kind ? OF_ROUTE.size() : 0));
        }
        json.close(']');
    };
    json.open("asked", '{');
    write_list(
        "names", [](bool is_route, bool) { return !is_route; }, false);
    write_list(
        "routes", [](bool is_route, bool) { return is_route; }, false);
    write_list(
        "unanswered", [](bool, bool is_answered) { return !is_answered; }, true);
    json.close('}');
}

static u32 asked_route_be = 0; // by the last message

// False, and no look-up, for a message that would change a route.
static bool take_route_question(byte_view message)
{
    if (message.size() != sizeof(route_question))
        return false;
    asked_route_be = load<route_question>(message, 0).dst.sin_addr.s_addr;
    return true;
}

// A look-up of a route among those of the file.
static ssize_t write_route(int, byte_view message)
{
    if (!take_route_question(message)) {
        errno = EPERM;
        return -1;
    }
    const auto found =
        std::ranges::find(known->routes, asked_route_be, &known_world::route::towards_be);
    const bool is_known = found != known->routes.end();
    tell_route(asked_route_be, is_known, is_known ? found->own_be : 0);
    if (is_known)
        return static_cast<ssize_t>(message.size());
    errno = ESRCH;
    return -1;
}

static ssize_t read_route(int, byte_area area)
{
    const auto found =
        std::ranges::find(known->routes, asked_route_be, &known_world::route::towards_be);
    route_answer answer{};
    answer.head.length = sizeof answer;
    answer.head.version = ROUTE_VERSION;
    answer.head.type = ROUTE_GET;
    answer.head.flags = ROUTE_UP | ROUTE_DONE;
    answer.head.addrs = HAS_DST | HAS_GATEWAY | HAS_NETMASK | HAS_INTERFACE | HAS_SOURCE;
    answer.head.pid = getpid();
    answer.head.seq = gettid();
    answer.dst = route_address(asked_route_be);
    answer.netmask = route_address(NOT_AN_ADDRESS);
    answer.source = route_address(found->own_be);
    store(area, 0, answer);
    return sizeof answer;
}

static int no_device(int error)
{
    errno = error;
    return -1;
}

// The VPN device's answer to the question who a client is.
static int tell_identity(int, unsigned long, byte_area message)
{
    if (message[VPN_COMMAND] != VPN_CLIENT_CHECK)
        return no_device(EBADF);
    std::ranges::fill(message, std::uint8_t{0});
    const auto identity = known->identity.substr(0, VPN_IDENTITY_SIZE);
    std::ranges::copy(identity, message.begin() + VPN_IDENTITY);
    std::ranges::copy(identity, message.begin() + VPN_DISPLAY);
    return 0;
}

static constexpr platform_calls FILE_PLATFORM = {
    .fw_open = [](int) { return no_device(ENOENT); },
    .fw_ioctl = [](int, int, unsigned long, byte_area) { return no_device(EBADF); },
    .fw_close = [](int) { return 0; },
    .vpn_open = [] { return known->identity.empty() ? no_device(ENOENT) : 0; },
    .vpn_ioctl = tell_identity,
    .vpn_close = [](int) { return 0; },
    .route_open = [] { return 0; },
    .route_write = write_route,
    .route_read = read_route,
    .route_close = [](int) { return 0; },
};

// This host's own routes; each look-up is told.
static platform_calls told_host_platform()
{
    platform_calls calls = HOST_PLATFORM;
    calls.route_write = [](int fd, byte_view message) {
        const bool is_question = take_route_question(message);
        const ssize_t written = HOST_PLATFORM.route_write(fd, message);
        if (is_question && written < 0)
            tell_route(asked_route_be, false, 0);
        return written;
    };
    calls.route_read = [](int fd, byte_area area) {
        const ssize_t got = HOST_PLATFORM.route_read(fd, area);
        if (got >= static_cast<ssize_t>(sizeof(route_answer)))
            tell_route(asked_route_be, true, load<route_answer>(area, 0).source.sin_addr.s_addr);
        return got;
    };
    calls.route_sources = [](std::span<const in_addr_t> dsts_be, const source_taker &take) {
        HOST_PLATFORM.route_sources(dsts_be, [&take](in_addr_t dst_be, in_addr_t source_be) {
            tell_route(dst_be, source_be != 0, source_be);
            take(dst_be, source_be);
        });
    };
    return calls;
}

void flatlink::enter_world(const known_world &world, const child_port &to)
{
    static constexpr name_service_calls NAMES = {
        .host_by_name = host_by_name,
        .host_by_address = host_by_address,
        .service_by_name = service_by_name,
        .user_by_name = user_by_name,
        .group_by_name = group_by_name,
    };
    known = &world;
    port = &to;
    name_service = &NAMES;
    static const platform_calls told_host = told_host_platform();
    const bool asks_host = world.may_resolve && world.routes.empty() && world.identity.empty();
    platform = asks_host ? &told_host : &FILE_PLATFORM;
}
