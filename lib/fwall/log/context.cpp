#include "lib/fwall/log/context.h"

#include "lib/fwall/log/log.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/text.h"

#include <algorithm>

using namespace flatlink;

CServiceContext::CServiceContext()
{
    install_log();
}

CServiceContext::~CServiceContext()
{
    cfg_free(conf_list);
}

const char *CServiceContext::GetProxyName() const
{
    return own_name;
}

void CServiceContext::SetProxyName(const char *name)
{
    set_text(own_name, text_of(name));
}

cfgrec *CServiceContext::GetProxyConfList() const
{
    return conf_list;
}

void CServiceContext::SetProxyConfList(cfgrec *list)
{
    cfgrec *copy = cfg_copy(list); // before the release: `list` may be our own
    cfg_free(conf_list);
    conf_list = cfg_has(copy) ? copy : nullptr;
}

const char *CServiceContextG::GetProxyName() const
{
    return proxy_name;
}

void CServiceContextG::SetProxyName(const char *name)
{
    set_text(proxy_name, text_of(name));
}

cfgrec *CServiceContextG::GetProxyConfList() const
{
    return proxy_confp;
}

void CServiceContextG::SetProxyConfList(cfgrec *list)
{
    proxy_confp = list;
}

CConnectionContext::CConnectionContext(const CConnectionContext &other)
    : src_port(other.src_port), dst_port(other.dst_port), mapped_dst_port(other.mapped_dst_port),
      log_level(other.log_level)
{
    set_text(dst_address, other.dst_address);
    set_text(user, other.user);
    set_text(src_address, text_of(other.GetSrcIPAddress()));
    set_bytes(rule_number, field_text(other.rule_number));
    set_bytes(rule_label, field_text(other.rule_label));
}

const char *CConnectionContext::GetSrcIPAddress() const
{
    return src_address;
}

void CConnectionContext::SetSrcIPAddress(const char *address)
{
    set_text(src_address, text_of(address));
}

void CConnectionContext::SetDstIPAddress(const char *address)
{
    set_text(dst_address, text_of(address));
}

void CConnectionContext::SetUser(const char *name)
{
    set_text(user, text_of(name));
}

void CConnectionContext::SetRule(const char *number, const char *label, std::int32_t level)
{
    set_bytes(rule_number, text_of(number));
    set_bytes(rule_label, text_of(label));
    log_level = level;
}

template <std::size_t SIZE>
static void copy_field(char *buffer, std::size_t size, const char (&field)[SIZE])
{
    std::copy_n(field, std::min(size, SIZE), buffer);
}

void CConnectionContext::GetRuleNumber(char *buffer, std::size_t size) const
{
    copy_field(buffer, size, rule_number);
}

void CConnectionContext::GetRuleLabel(char *buffer, std::size_t size) const
{
    copy_field(buffer, size, rule_label);
}

void CConnectionContext::SetConnectionID(const char *id)
{
    set_bytes(connection_id, text_of(id));
}

void CConnectionContext::GetConnectionID(char *buffer, std::size_t size) const
{
    copy_field(buffer, size, connection_id);
}

const char *CConnectionContextG::GetSrcIPAddress() const
{
    return proxy_riaddr;
}

void CConnectionContextG::SetSrcIPAddress(const char *address)
{
    set_text(proxy_riaddr, text_of(address));
}
