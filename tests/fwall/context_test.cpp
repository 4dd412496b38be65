#include "lib/fwall/context.h"

#include "lib/fwall/context_calls.h"
#include "lib/fwall/proxy.h"
#include "tests/fwall/report_log.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

static const std::string LONG(600, 'x');

static std::string cut(std::size_t length)
{
    return LONG.substr(0, length);
}

TEST(ConnectionContext, TextFieldsKeepTheirLimit)
{
    const CConnectionContext fresh;
    EXPECT_STREQ(fresh.GetUser(), "");
    EXPECT_EQ(fresh.GetLogLevel(), -1);
    static const struct {
        const char *label;
        void (*set)(CConnectionContext *, const char *);
        const char *(*get)(const CConnectionContext *);
        std::size_t limit;
    } cases[] = {
        {"user", SetUser, GetUser, 63},
        {"destination", SetDstIPAddress, GetDstIPAddress, 15},
        {"source", SetSrcIPAddress, GetSrcIPAddress, 15},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        CConnectionContext context;
        for (const std::size_t length :
             {row.limit - 1, row.limit, row.limit + 1, 2 * row.limit, std::size_t{1}}) {
            row.set(&context, cut(length).c_str());
            EXPECT_EQ(row.get(&context), cut(std::min(length, row.limit)));
        }
        row.set(&context, row.get(&context));
        EXPECT_STREQ(row.get(&context), "x");
        row.set(&context, nullptr);
        EXPECT_STREQ(row.get(&context), "");
        EXPECT_EQ(row.get(nullptr), nullptr);
        row.set(nullptr, "x");
    }
}

TEST(ConnectionContext, RuleTextsFillTheirField)
{
    CConnectionContext context;
    char buffer[64];
    std::memset(buffer, '?', sizeof buffer);
    context.GetRuleNumber(buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "N/A");
    EXPECT_EQ(buffer[31], '\0');
    EXPECT_EQ(buffer[32], '?'); // 32 bytes and no more
    SetRule(&context, cut(40).c_str(), "label", 3);
    EXPECT_EQ(context.GetLogLevel(), 3);
    std::memset(buffer, '?', sizeof buffer);
    context.GetRuleNumber(buffer, sizeof buffer);
    EXPECT_EQ(std::string(buffer, 33), cut(32) + "?");
    std::memset(buffer, '?', sizeof buffer);
    context.GetRuleLabel(buffer, 3);
    EXPECT_EQ(std::string(buffer, 4), "lab?");
    SetRule(&context, nullptr, nullptr, -1);
    context.GetRuleNumber(buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "");
    SetRule(nullptr, "1", "2", 3);
    SetConnectionID(nullptr, "x");
}

TEST(ConnectionContext, CopyTakesAllButTheIdentifier)
{
    const std::unique_ptr<CConnectionContext, void (*)(CConnectionContext *)> global(
        InitConnectionContextG(), DestroyConnectionContext);
    SetSrcPort(global.get(), 1);
    SetDstPort(global.get(), 2);
    SetMappedDstPort(global.get(), 3);
    SetUser(global.get(), LONG.c_str());
    SetDstIPAddress(global.get(), "10.0.0.1");
    SetSrcIPAddress(global.get(), LONG.c_str());
    SetRule(global.get(), cut(40).c_str(), "label", 4);
    SetConnectionID(global.get(), "id");
    EXPECT_EQ(proxy_riaddr, cut(511));
    EXPECT_EQ(GetSrcIPAddress(global.get()), cut(511));

    const std::unique_ptr<CConnectionContext, void (*)(CConnectionContext *)> copy(
        CopyConnectionContext(global.get()), DestroyConnectionContext);
    SetSrcIPAddress(global.get(), nullptr);
    EXPECT_STREQ(proxy_riaddr, "");
    EXPECT_EQ(GetSrcPort(copy.get()), 1);
    EXPECT_EQ(GetDstPort(copy.get()), 2);
    EXPECT_EQ(GetMappedDstPort(copy.get()), 3);
    EXPECT_EQ(GetUser(copy.get()), cut(63));
    EXPECT_STREQ(GetDstIPAddress(copy.get()), "10.0.0.1");
    EXPECT_EQ(GetSrcIPAddress(copy.get()), cut(15));
    EXPECT_EQ(copy->GetLogLevel(), 4);
    char text[32];
    copy->GetRuleNumber(text, sizeof text);
    EXPECT_EQ(std::string(text, 32), cut(32));
    copy->GetRuleLabel(text, sizeof text);
    EXPECT_STREQ(text, "label");
    copy->GetConnectionID(text, sizeof text);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(CopyConnectionContext(nullptr), nullptr);
}

static cfgrec *one_record(const char *keyword)
{
    return cfg_make(keyword, 0, 1, 0, nullptr);
}

TEST(ServiceContext, KeepsACopyOfTheList)
{
    CServiceContext *context = InitServiceContext();
    EXPECT_EQ(GetServiceType(context), 2);
    EXPECT_EQ(GetProtocol(context), 4);
    EXPECT_STREQ(GetProxyName(context), "");
    EXPECT_EQ(GetProxyConfList(context), nullptr);
    cfgrec *list = one_record("a");
    SetProxyConfList(context, list);
    ASSERT_NE(GetProxyConfList(context), nullptr);
    EXPECT_NE(GetProxyConfList(context), list);
    cfg_free(list);
    SetProxyConfList(context, GetProxyConfList(context)); // its own list
    EXPECT_STREQ(GetProxyConfList(context)->keyword, "a");
    SetProxyConfList(context, cfg_failure());
    EXPECT_EQ(GetProxyConfList(context), nullptr);
    const std::string name(2000, 'n');
    SetProxyName(context, name.c_str());
    EXPECT_EQ(GetProxyName(context), name.substr(0, 1023));
    SetServiceType(context, static_cast<services>(77));
    SetProtocol(context, static_cast<prots>(78));
    EXPECT_EQ(GetServiceType(context), 77);
    EXPECT_EQ(GetProtocol(context), 78);
    SetProxyConfList(context, nullptr);
    DestroyServiceContext(context);
}

TEST(ServiceContextG, WorksOnTheGlobals)
{
    cfgrec *first = one_record("a");
    cfgrec *second = one_record("b");
    proxy_confp = first;
    CServiceContext *context = InitServiceContextG();
    EXPECT_EQ(GetProxyConfList(context), first);
    SetProxyConfList(context, second);
    EXPECT_EQ(proxy_confp, second);
    EXPECT_STREQ(first->keyword, "a"); // not freed
    SetProxyName(context, "relay");
    EXPECT_STREQ(proxy_name, "relay");
    EXPECT_STREQ(context->CServiceContext::GetProxyName(), "");
    SetProxyName(context, "");
    EXPECT_STREQ(proxy_name, "");
    DestroyServiceContext(context);
    EXPECT_EQ(proxy_confp, second);
    EXPECT_STREQ(second->keyword, "b");
    cfg_free(first);
    cfg_free(second);
    proxy_confp = nullptr;
}

TEST(ContextCalls, AcceptNull)
{
    EXPECT_EQ(GetServiceType(nullptr), 3);
    EXPECT_EQ(GetProtocol(nullptr), 0);
    EXPECT_EQ(GetSrcPort(nullptr), -1);
    EXPECT_EQ(GetDstPort(nullptr), -1);
    EXPECT_EQ(GetMappedDstPort(nullptr), -1);
    EXPECT_EQ(GetProxyName(nullptr), nullptr);
    EXPECT_EQ(GetProxyConfList(nullptr), nullptr);
    SetServiceType(nullptr, SERVICE_PROXY);
    SetProtocol(nullptr, PROT_OTHER);
    SetProxyName(nullptr, "x");
    SetProxyConfList(nullptr, nullptr);
    SetSrcPort(nullptr, 1);
    SetDstPort(nullptr, 1);
    SetMappedDstPort(nullptr, 1);
    DestroyServiceContext(nullptr);
    DestroyConnectionContext(nullptr);
}
