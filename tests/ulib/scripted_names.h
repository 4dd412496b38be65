// A name service that plays a script and writes down what it was asked. One at a time; the host's
// comes back at the end of the block.
#pragma once

#include "lib/ulib/name_service.h"

#include <arpa/inet.h>
#include <array>
#include <map>
#include <string>
#include <vector>

class scripted_names
{
  public:
    struct answer {
        std::vector<std::string> addresses;
        int length = 4;
    };

    // The script: what is not in it has no answer.
    std::map<std::string, answer> hosts;
    std::map<std::string, std::string> names;      // by dotted address
    std::map<std::string, std::uint16_t> services; // of TCP

    // The record: "name NAME", "addr ADDRESS" and "port SERVICE".
    std::vector<std::string> asked;
    std::string lines() const
    {
        std::string all;
        for (const std::string &one : asked)
            all += one + "\n";
        return all;
    }

    scripted_names()
    {
        current = this;
        flatlink::name_service = &TABLE;
    }
    ~scripted_names() { flatlink::name_service = &flatlink::HOST_NAME_SERVICE; }
    scripted_names(const scripted_names &) = delete;
    scripted_names &operator=(const scripted_names &) = delete;

  private:
    static hostent *host_by_name(const char *name)
    {
        static std::array<std::array<char, 16>, 8> octets; // room for a wrong length
        static std::array<char *, 9> list;
        static hostent found;
        current->asked.push_back(std::string("name ") + name);
        const auto row = current->hosts.find(name);
        if (row == current->hosts.end())
            return nullptr;
        list.fill(nullptr);
        for (std::size_t i = 0; i < row->second.addresses.size(); ++i) {
            list[i] = octets[i].data();
            inet_pton(AF_INET, row->second.addresses[i].c_str(), list[i]);
        }
        found.h_length = row->second.length;
        found.h_addr_list = list.data();
        return &found;
    }

    static hostent *host_by_address(const void *addr, socklen_t size_bytes, int family)
    {
        static hostent found;
        char text[INET_ADDRSTRLEN] = "not IPv4";
        if (size_bytes == 4 && family == AF_INET)
            inet_ntop(AF_INET, addr, text, sizeof text);
        current->asked.push_back(std::string("addr ") + text);
        const auto row = current->names.find(text);
        found.h_name = row == current->names.end() ? nullptr : row->second.data();
        return found.h_name == nullptr ? nullptr : &found;
    }

    static servent *service_by_name(const char *name, const char *protocol)
    {
        static servent found;
        current->asked.push_back(std::string("port ") + name);
        const auto row = current->services.find(name);
        const bool known = row != current->services.end() && std::string(protocol) == "tcp";
        found.s_port = known ? htons(row->second) : 0;
        return known ? &found : nullptr;
    }

    static inline scripted_names *current = nullptr;
    static inline const name_service_calls TABLE = {host_by_name, host_by_address, service_by_name};
};
