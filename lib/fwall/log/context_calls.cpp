#include "lib/fwall/log/context_calls.h"

#include <new>

// One template for all getters and one for all setters hold the only tests for null.
template <typename context_type, typename result>
static result get(const context_type *context, result (context_type::*getter)() const,
                  result without)
{
    return context == nullptr ? without : (context->*getter)();
}

template <typename context_type, typename value_type>
static void set(context_type *context, void (context_type::*setter)(value_type), value_type value)
{
    if (context != nullptr)
        (context->*setter)(value);
}

CServiceContext *InitServiceContext()
{
    return new (std::nothrow) CServiceContext;
}

CServiceContext *InitServiceContextG()
{
    return new (std::nothrow) CServiceContextG;
}

CConnectionContext *InitConnectionContext()
{
    return new (std::nothrow) CConnectionContext;
}

CConnectionContext *InitConnectionContextG()
{
    return new (std::nothrow) CConnectionContextG;
}

CConnectionContext *CopyConnectionContext(const CConnectionContext *context)
{
    return context == nullptr ? nullptr : new (std::nothrow) CConnectionContext(*context);
}

void DestroyServiceContext(CServiceContext *context)
{
    delete context;
}

void DestroyConnectionContext(CConnectionContext *context)
{
    delete context;
}

services GetServiceType(const CServiceContext *context)
{
    return get(context, &CServiceContext::GetServiceType, SERVICE_UNKNOWN);
}

void SetServiceType(CServiceContext *context, services type)
{
    set(context, &CServiceContext::SetServiceType, type);
}

prots GetProtocol(const CServiceContext *context)
{
    return get(context, &CServiceContext::GetProtocol, PROTOCOL_NONE);
}

void SetProtocol(CServiceContext *context, prots protocol)
{
    set(context, &CServiceContext::SetProtocol, protocol);
}

const char *GetProxyName(const CServiceContext *context)
{
    return get(context, &CServiceContext::GetProxyName, static_cast<const char *>(nullptr));
}

void SetProxyName(CServiceContext *context, const char *name)
{
    set(context, &CServiceContext::SetProxyName, name);
}

cfgrec *GetProxyConfList(const CServiceContext *context)
{
    return get(context, &CServiceContext::GetProxyConfList, static_cast<cfgrec *>(nullptr));
}

void SetProxyConfList(CServiceContext *context, cfgrec *list)
{
    set(context, &CServiceContext::SetProxyConfList, list);
}

std::int32_t GetSrcPort(const CConnectionContext *context)
{
    return get(context, &CConnectionContext::GetSrcPort, std::int32_t{-1});
}

void SetSrcPort(CConnectionContext *context, std::int32_t port)
{
    set(context, &CConnectionContext::SetSrcPort, port);
}

std::int32_t GetDstPort(const CConnectionContext *context)
{
    return get(context, &CConnectionContext::GetDstPort, std::int32_t{-1});
}

void SetDstPort(CConnectionContext *context, std::int32_t port)
{
    set(context, &CConnectionContext::SetDstPort, port);
}

std::int32_t GetMappedDstPort(const CConnectionContext *context)
{
    return get(context, &CConnectionContext::GetMappedDstPort, std::int32_t{-1});
}

void SetMappedDstPort(CConnectionContext *context, std::int32_t port)
{
    set(context, &CConnectionContext::SetMappedDstPort, port);
}

const char *GetSrcIPAddress(const CConnectionContext *context)
{
    return get(context, &CConnectionContext::GetSrcIPAddress, static_cast<const char *>(nullptr));
}

void SetSrcIPAddress(CConnectionContext *context, const char *address)
{
    set(context, &CConnectionContext::SetSrcIPAddress, address);
}

const char *GetDstIPAddress(const CConnectionContext *context)
{
    return get(context, &CConnectionContext::GetDstIPAddress, static_cast<const char *>(nullptr));
}

void SetDstIPAddress(CConnectionContext *context, const char *address)
{
    set(context, &CConnectionContext::SetDstIPAddress, address);
}

const char *GetUser(const CConnectionContext *context)
{
    return get(context, &CConnectionContext::GetUser, static_cast<const char *>(nullptr));
}

void SetUser(CConnectionContext *context, const char *name)
{
    set(context, &CConnectionContext::SetUser, name);
}

void SetRule(CConnectionContext *context, const char *number, const char *label, std::int32_t level)
{
    if (context != nullptr)
        context->SetRule(number, label, level);
}

void SetConnectionID(CConnectionContext *context, const char *id)
{
    set(context, &CConnectionContext::SetConnectionID, id);
}
