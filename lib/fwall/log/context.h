// What the log needs to know about a proxy and about one of its connections. Each class has a form
// that keeps its own data, and a form with the suffix G that keeps part of it in the globals of
// lib/fwall/table/proxy.h. Setters copy texts; null makes the field empty. Returned texts lie in
// the context, or in the global, and are valid until the next change.
//
// A program gets the log object by making a service context, which installs the hook of
// lib/ulib/report.h. Reports go there once `servContext` and `connContext` are set.
#pragma once

#include "lib/fwall/table/cfgrec.h"

#include <cstddef>
#include <cstdint>

// Kinds of service and protocols in the log's record. Only the values that the libraries use have
// names; the others belong to the proxies.
enum services : std::int32_t {
    SERVICE_PROXY = 2,   // of a new service context
    SERVICE_UNKNOWN = 3, // without a service context
};
enum prots : std::int32_t {
    PROTOCOL_NONE = 0,  // without a service context
    PROTOCOL_OTHER = 4, // of a new service context
};

class CServiceContext
{
  public:
    CServiceContext();
    CServiceContext(const CServiceContext &) = delete;
    CServiceContext &operator=(const CServiceContext &) = delete;
    virtual ~CServiceContext();

    virtual const char *GetProxyName() const;
    virtual void SetProxyName(const char *name); // keeps 1023 characters
    virtual cfgrec *GetProxyConfList() const;    // owned by the context; may be null

    // Replaces the context's list by a copy of `list`, which stays the caller's. Without memory the
    // context is left without a list.
    virtual void SetProxyConfList(cfgrec *list);

    services GetServiceType() const { return service_type_; }
    void SetServiceType(services type) { service_type_ = type; }
    prots GetProtocol() const { return protocol_; }
    void SetProtocol(prots value) { protocol_ = value; }

  private:
    services service_type_ = SERVICE_PROXY;
    prots protocol_ = PROTOCOL_OTHER;
    char own_name_[1024] = {};
    cfgrec *conf_list_ = nullptr; // owned
};

// Works on `proxy_name` and on `proxy_confp` itself: lists are neither copied nor freed.
class CServiceContextG : public CServiceContext
{
  public:
    const char *GetProxyName() const override;
    void SetProxyName(const char *name) override;
    cfgrec *GetProxyConfList() const override;
    void SetProxyConfList(cfgrec *list) override;
};

class CConnectionContext
{
  public:
    CConnectionContext() = default;

    // Copies all but the connection identifier, which starts empty. The source address comes from
    // GetSrcIPAddress, so a copy of a G form keeps it in its own field, cut at 15 characters.
    CConnectionContext(const CConnectionContext &other);
    CConnectionContext &operator=(const CConnectionContext &) = delete;
    virtual ~CConnectionContext() = default;

    virtual const char *GetSrcIPAddress() const;
    virtual void SetSrcIPAddress(const char *address); // keeps 15 characters

    std::int32_t GetSrcPort() const { return src_port_; }
    void SetSrcPort(std::int32_t port) { src_port_ = port; }
    std::int32_t GetDstPort() const { return dst_port_; }
    void SetDstPort(std::int32_t port) { dst_port_ = port; }
    std::int32_t GetMappedDstPort() const { return mapped_dst_port_; }
    void SetMappedDstPort(std::int32_t port) { mapped_dst_port_ = port; }
    const char *GetDstIPAddress() const { return dst_address_; }
    void SetDstIPAddress(const char *address); // keeps 15 characters
    const char *GetUser() const { return user_; }
    void SetUser(const char *name); // keeps 63 characters

    // Keeps 32 bytes of each text, and the level up to which events are logged (-1: all).
    void SetRule(const char *number, const char *label, std::int32_t level);

    // Copy at most `size` and at most 32 bytes; a text that fills them is not NUL-terminated.
    void GetRuleNumber(char *buffer, std::size_t size) const;
    void GetRuleLabel(char *buffer, std::size_t size) const;
    std::int32_t GetLogLevel() const { return log_level_; }

    // The identifier in the log's record: 32 bytes, not NUL-terminated when the text fills them.
    void SetConnectionID(const char *id);
    void GetConnectionID(char *buffer, std::size_t size) const;

  private:
    std::int32_t src_port_ = 0;
    std::int32_t dst_port_ = 0;
    std::int32_t mapped_dst_port_ = 0;
    char dst_address_[16] = {};
    char user_[64] = {};
    char src_address_[16] = {};
    char connection_id_[32] = {};
    std::int32_t log_level_ = -1;
    char rule_number_[32] = {'N', '/', 'A'};
    char rule_label_[32] = {};
};

// Keeps the source address in `proxy_riaddr`, cut at 511 characters.
class CConnectionContextG : public CConnectionContext
{
  public:
    const char *GetSrcIPAddress() const override;
    void SetSrcIPAddress(const char *address) override;
};
