// The record that the log daemon receives as one datagram: 1680 bytes, integers in the host's byte
// order. A text ends at its NUL byte, or with the field.
#pragma once

#include "lib/fwall/log/context.h"
#include "lib/ulib/events.h"

#include <cstddef>
#include <cstdint>

inline constexpr char STDLOG_PATH[] = "/dev/stdlog";
inline constexpr std::int32_t DAEMON_MSG_VERSION = 1;

// The initial values mean "unknown".
struct DaemonMsg {
    std::int32_t msg_size = 1680;
    std::int32_t msg_version = DAEMON_MSG_VERSION;
    std::int32_t event = EVENT_UNSET;
    std::int32_t service = SERVICE_UNKNOWN;
    std::uint32_t time = 0; // of sending, in seconds since 1970
    std::int32_t priority = 0;
    std::int32_t aux1 = -1;
    std::int32_t aux2 = -1;
    std::int32_t aux3 = -1;
    std::uint16_t src_port = 0;
    std::uint16_t dst_port = 0;
    std::uint16_t mapped_dst_port = 0;
    std::uint16_t reserved = 0;
    std::int32_t pid = 0;
    char connection_id[32] = {};
    std::int32_t line = 0; // of netperm-table, 0 for none
    std::int32_t protocol = 0;
    char src_ip[16] = {};
    char dst_ip[16] = {};
    char proxy_name[41] = {};
    char user[21] = {}; // escaped
    char aux_tag[21] = {};
    char aux_name[64] = {};
    char aux_note[256] = {}; // escaped
    char rule_number[64] = {};
    char rule_label[64] = {};
    char reserved_byte = 0;
    std::int32_t text_length = 0; // bytes of `text`, without the NUL terminator
    char text[1024] = {};         // escaped
};

static_assert(sizeof(DaemonMsg) == 1680);
static_assert(offsetof(DaemonMsg, msg_version) == 4 && offsetof(DaemonMsg, event) == 8);
static_assert(offsetof(DaemonMsg, service) == 12 && offsetof(DaemonMsg, time) == 16);
static_assert(offsetof(DaemonMsg, priority) == 20 && offsetof(DaemonMsg, aux1) == 24);
static_assert(offsetof(DaemonMsg, aux2) == 28 && offsetof(DaemonMsg, aux3) == 32);
static_assert(offsetof(DaemonMsg, src_port) == 36 && offsetof(DaemonMsg, dst_port) == 38);
static_assert(offsetof(DaemonMsg, mapped_dst_port) == 40 && offsetof(DaemonMsg, pid) == 44);
static_assert(offsetof(DaemonMsg, connection_id) == 48 && offsetof(DaemonMsg, line) == 80);
static_assert(offsetof(DaemonMsg, protocol) == 84 && offsetof(DaemonMsg, src_ip) == 88);
static_assert(offsetof(DaemonMsg, dst_ip) == 104 && offsetof(DaemonMsg, proxy_name) == 120);
static_assert(offsetof(DaemonMsg, user) == 161 && offsetof(DaemonMsg, aux_tag) == 182);
static_assert(offsetof(DaemonMsg, aux_name) == 203 && offsetof(DaemonMsg, aux_note) == 267);
static_assert(offsetof(DaemonMsg, rule_number) == 523 && offsetof(DaemonMsg, rule_label) == 587);
static_assert(offsetof(DaemonMsg, text_length) == 652 && offsetof(DaemonMsg, text) == 656);
