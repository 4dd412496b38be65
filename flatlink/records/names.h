// The words of the VPN data and their numbers. Of rows with one number the first is what the
// number prints as, so the order of rows matters.
#pragma once

#include "lib/ulib/name_table.h"

inline constexpr name_num onoff_list[] = {{"On", 1}, {"Off", 0}};

// Attribute values of IKE, RFC 2409, appendix A.
inline constexpr name_num ikehash_list[] = {{"MD5", 1}, {"SHA-1", 2}, {"sha", 2}, {"Tiger", 3}};
inline constexpr name_num ikeencr_list[] = {{"DES", 1}, {"TripleDES", 5}, {"CAST", 6},
                                            {"RC5", 4}, {"IDEA", 2},      {"Blowfish", 3}};

// Oakley groups, RFC 2409, section 6.
inline constexpr name_num ikegroup_list[] = {{"768-bit", 1}, {"1024-bit", 2}, {"1536-bit", 5}};
inline constexpr name_num ipsecgroup_list[] = {
    {"768-bit", 1}, {"1024-bit", 2}, {"1536-bit", 5}, {"None", 0}};

// The IPsec domain of interpretation, RFC 2407, section 4.
inline constexpr name_num ipsechash_list[] = {{"HMAC-MD5", 1},   {"HMAC MD5", 1}, {"HMAC-SHA-1", 2},
                                              {"HMAC SHA-1", 2}, {"DES-MAC", 3},  {"KPDK", 4},
                                              {"None", 0}};
inline constexpr name_num ipsecencr_list[] = {{"DES", 2},      {"CAST", 6}, {"TripleDES", 3},
                                              {"ESPNULL", 11}, {"RC5", 4},  {"IDEA", 5},
                                              {"Blowfish", 7}, {"None", 0}};
inline constexpr name_num ipcomp_list[] = {
    {"OUI", 1}, {"Deflate", 2}, {"LZS", 3}, {"V42BIS", 4}, {"None", 0}};
inline constexpr name_num addrid_list[] = {
    {"Subnet", 4}, {"Range", 7}, {"Host", 1}, {"DNSname", 2}};
inline constexpr name_num id_list[] = {
    {"IP Address", 1}, {"DNS", 2}, {"Email", 3}, {"KeyID (hex)", 11}};

inline constexpr name_num san_list[] = {{"Email", 1}, {"IP Address", 5}, {"DNS", 2}};
inline constexpr name_num auth_list[] = {
    {"pre", 1}, {"Pre-shared secret", 1}, {"rsa", 3}, {"Certificate based", 3}, {"keyid", 255}};

// The digits are what rules carry. 0 prints as Normal too, and Normal reads back as 3.
inline constexpr name_num debug_list[] = {{"None", 1},   {"0", 1}, {"Critical", 2}, {"1", 2},
                                          {"Normal", 3}, {"2", 3}, {"Medium", 4},   {"3", 4},
                                          {"High", 5},   {"4", 5}, {"Normal", 0}};

inline constexpr name_num dfbit_list[] = {{"Copy", 0x4000}, {"Clear", 0x8000}, {"Set", 0xC000}};

// The older link lines.
inline constexpr name_num mode_list[] = {
    {"isakmp", 0}, {"tunnel", 1}, {"transport", 2}, {"client", 32}};
inline constexpr name_num ealgo_list[] = {{"DES", 2},  {"TripleDES", 3}, {"ESPNULL", 11},
                                          {"CAST", 6}, {"RC5", 4},       {"3DES", 3}};
inline constexpr name_num hash_list[] = {{"MD5", 1}, {"SHA-1", 2}, {"sha", 2}};
inline constexpr name_num aalgo_list[] = {{"HMAC MD5", 1},   {"HMAC SHA-1", 2}, {"KPDK MD5", 1},
                                          {"KPDK SHA-1", 2}, {"hmd5", 1},       {"hsha", 2},
                                          {"md5", 1},        {"sha", 2}};

inline constexpr name_num location_list[] = {
    {"Inside", 1}, {"Service", 2}, {"Outside", 3}, {"Heartbeat", 4}};

// Numbers of addrid_list that the code looks at.
enum addrid : std::int32_t { ADDRID_HOST = 1, ADDRID_SUBNET = 4, ADDRID_RANGE = 7 };
