// The contexts for code that holds them as opaque pointers. Each call forwards to the member of the
// same name (lib/fwall/log/context.h) and accepts a null context: a setter then does nothing, a
// getter returns the value in its comment.
#pragma once

#include "lib/fwall/log/context.h"

// New contexts, for the caller to destroy; null without memory. A copy of null is null.
CServiceContext *InitServiceContext();
CServiceContext *InitServiceContextG();
CConnectionContext *InitConnectionContext();
CConnectionContext *InitConnectionContextG();
CConnectionContext *CopyConnectionContext(const CConnectionContext *context);

void DestroyServiceContext(CServiceContext *context);
void DestroyConnectionContext(CConnectionContext *context);

services GetServiceType(const CServiceContext *context);  // null: SERVICE_UNKNOWN
prots GetProtocol(const CServiceContext *context);        // null: PROTOCOL_NONE
const char *GetProxyName(const CServiceContext *context); // null: null
cfgrec *GetProxyConfList(const CServiceContext *context); // null: null
void SetServiceType(CServiceContext *context, services type);
void SetProtocol(CServiceContext *context, prots protocol);
void SetProxyName(CServiceContext *context, const char *name);
void SetProxyConfList(CServiceContext *context, cfgrec *list);

std::int32_t GetSrcPort(const CConnectionContext *context);       // null: -1
std::int32_t GetDstPort(const CConnectionContext *context);       // null: -1
std::int32_t GetMappedDstPort(const CConnectionContext *context); // null: -1
const char *GetSrcIPAddress(const CConnectionContext *context);   // null: null
const char *GetDstIPAddress(const CConnectionContext *context);   // null: null
const char *GetUser(const CConnectionContext *context);           // null: null
void SetSrcPort(CConnectionContext *context, std::int32_t port);
void SetDstPort(CConnectionContext *context, std::int32_t port);
void SetMappedDstPort(CConnectionContext *context, std::int32_t port);
void SetSrcIPAddress(CConnectionContext *context, const char *address);
void SetDstIPAddress(CConnectionContext *context, const char *address);
void SetUser(CConnectionContext *context, const char *name);
void SetRule(CConnectionContext *context, const char *number, const char *label,
             std::int32_t level);
void SetConnectionID(CConnectionContext *context, const char *id);
