#include "lib/fwall/context.h"

#include "lib/fwall/context_calls.h"
#include "lib/fwall/proxy.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>

static const std::string LONG(600, 'x');

static std::string cut(std::size_t length)
{
    return LONG.substr(0, length);
}

TEST(ConnectionContext, TextFieldsKeepTheirLimit)
{
    static const struct {
        void (*set)(CConnectionContext *, const char *);
        const char *(*get)(const CConnectionContext *);
        std::size_t limit;
    } cases[] = {{SetUser, GetUser, 63},
                 {SetDstIPAddress, GetDstIPAddress, 15},
                 {SetSrcIPAddress, GetSrcIPAddress, 15}};
    for (const auto &row : cases) {
        CConnectionContext context;
        EXPECT_STREQ(row.get(&context), "");
        for (const std::size_t length : {row.limit, row.limit + 1, 2 * row.limit, std::size_t{1}}) {
            row.set(&context, cut(length).c_str());
            EXPECT_EQ(row.get(&context), cut(std::min(length, row.limit)));
        }
        row.set(&context, row.get(&context)); // its own text
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
    const auto number = [&context] {
        std::string text(40, '?');
        context.GetRuleNumber(text.data(), text.size()); // 32 bytes and no more
        return text;
    };
    EXPECT_EQ(number(), "N/A" + std::string(29, '\0') + "????????");
    SetRule(&context, cut(40).c_str(), "label", 3);
    EXPECT_EQ(number(), cut(32) + "????????");
    char label[5] = "????";
    context.GetRuleLabel(label, 3);
    EXPECT_STREQ(label, "lab?");
    SetRule(&context, nullptr, nullptr, -1);
    EXPECT_EQ(number(), std::string(32, '\0') + "????????");
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
    SetUser(global.get(), "user");
    SetDstIPAddress(global.get(), "10.0.0.1");
    SetSrcIPAddress(global.get(), LONG.c_str());
    SetRule(global.get(), cut(40).c_str(), "label", 4);
    SetConnectionID(global.get(), "id");
    EXPECT_EQ(proxy_riaddr, cut(511));
    const std::unique_ptr<CConnectionContext, void (*)(CConnectionContext *)> copy(
        CopyConnectionContext(global.get()), DestroyConnectionContext);
    SetSrcIPAddress(global.get(), nullptr);
    EXPECT_STREQ(proxy_riaddr, "");
    EXPECT_EQ(GetSrcPort(copy.get()), 1);
    EXPECT_EQ(GetDstPort(copy.get()), 2);
    EXPECT_EQ(GetMappedDstPort(copy.get()), 3);
    EXPECT_STREQ(GetUser(copy.get()), "user");
    EXPECT_STREQ(GetDstIPAddress(copy.get()), "10.0.0.1");
    EXPECT_EQ(GetSrcIPAddress(copy.get()), cut(15));
    EXPECT_EQ(copy->GetLogLevel(), 4);
    char texts[3][32];
    copy->GetRuleNumber(texts[0], 32);
    copy->GetRuleLabel(texts[1], 32);
    copy->GetConnectionID(texts[2], 32);
    EXPECT_EQ(std::string(texts[0], 32), cut(32));
    EXPECT_STREQ(texts[1], "label");
    EXPECT_STREQ(texts[2], "");
    EXPECT_EQ(CopyConnectionContext(nullptr), nullptr);
}

TEST(ServiceContext, KeepsACopyOfTheList)
{
    CServiceContext *context = InitServiceContext();
    cfgrec *list = cfg_make("a", 0, 1, 0, nullptr);
    SetProxyConfList(context, list);
    EXPECT_NE(GetProxyConfList(context), list);
    cfg_free(list);
    SetProxyConfList(context, GetProxyConfList(context)); // its own list
    ASSERT_NE(GetProxyConfList(context), nullptr);
    EXPECT_STREQ(GetProxyConfList(context)->keyword, "a");
    SetProxyConfList(context, cfg_failure());
    EXPECT_EQ(GetProxyConfList(context), nullptr);
    SetProxyName(context, std::string(2000, 'n').c_str());
    EXPECT_EQ(GetProxyName(context), std::string(1023, 'n'));
    DestroyServiceContext(context);
}

TEST(ServiceContextG, WorksOnTheGlobals)
{
    cfgrec *first = proxy_confp = cfg_make("a", 0, 1, 0, nullptr);
    cfgrec *second = cfg_make("b", 0, 1, 0, nullptr);
    CServiceContext *context = InitServiceContextG();
    EXPECT_EQ(GetProxyConfList(context), first);
    SetProxyConfList(context, second);
    SetProxyName(context, "relay");
    EXPECT_STREQ(proxy_name, "relay");
    DestroyServiceContext(context);
    EXPECT_EQ(proxy_confp, second);
    cfg_free(first); // both are the caller's still
    cfg_free(second);
    proxy_confp = nullptr;
}

TEST(ContextCalls, AcceptNull)
{
    EXPECT_EQ(GetServiceType(nullptr), 3);
    EXPECT_EQ(GetProtocol(nullptr), 0);
    EXPECT_EQ(GetSrcPort(nullptr), -1);
    EXPECT_EQ(GetProxyName(nullptr), nullptr);
    EXPECT_EQ(GetProxyConfList(nullptr), nullptr);
    SetProxyName(nullptr, "x");
    SetProxyConfList(nullptr, nullptr);
    DestroyServiceContext(nullptr);
    DestroyConnectionContext(nullptr);
}
