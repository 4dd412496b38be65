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
    cfg_free(conf_list_);
}

const char *CServiceContext::GetProxyName() const
{
    return own_name_;
}

void CServiceContext::SetProxyName(const char *name)
{
    set_text(own_name_, text_of(name));
}

cfgrec *CServiceContext::GetProxyConfList() const
{
    return conf_list_;
}

void CServiceContext::SetProxyConfList(cfgrec *list)
{
    cfgrec *copy = cfg_copy(list); // before the release: `list` may be our own
    cfg_free(conf_list_);
    conf_list_ = cfg_has(copy) ? copy : nullptr;
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
    : src_port_(other.src_port_), dst_port_(other.dst_port_),
      mapped_dst_port_(other.mapped_dst_port_), log_level_(other.log_level_)
{
    set_text(dst_address_, other.dst_address_);
    set_text(user_, other.user_);
    set_text(src_address_, text_of(other.GetSrcIPAddress()));
    set_bytes(rule_number_, field_text(other.rule_number_));
    set_bytes(rule_label_, field_text(other.rule_label_));
}

const char *CConnectionContext::GetSrcIPAddress() const
{
    return src_address_;
}

void CConnectionContext::SetSrcIPAddress(const char *address)
{
    set_text(src_address_, text_of(address));
}

void CConnectionContext::SetDstIPAddress(const char *address)
{
    set_text(dst_address_, text_of(address));
}

void CConnectionContext::SetUser(const char *name)
{
    set_text(user_, text_of(name));
}

void CConnectionContext::SetRule(const char *number, const char *label, std::int32_t level)
{
    set_bytes(rule_number_, text_of(number));
    set_bytes(rule_label_, text_of(label));
    log_level_ = level;
}

template <std::size_t held>
static void copy_field(char *buffer, std::size_t size, const char (&field)[held])
{
    std::copy_n(field, std::min(size, held), buffer);
}

void CConnectionContext::GetRuleNumber(char *buffer, std::size_t size) const
{
    copy_field(buffer, size, rule_number_);
}

void CConnectionContext::GetRuleLabel(char *buffer, std::size_t size) const
{
    copy_field(buffer, size, rule_label_);
}

void CConnectionContext::SetConnectionID(const char *id)
{
    set_bytes(connection_id_, text_of(id));
}

void CConnectionContext::GetConnectionID(char *buffer, std::size_t size) const
{
    copy_field(buffer, size, connection_id_);
}

const char *CConnectionContextG::GetSrcIPAddress() const
{
    return proxy_riaddr;
}

void CConnectionContextG::SetSrcIPAddress(const char *address)
{
    set_text(proxy_riaddr, text_of(address));
}
