#include "lib/fwall/context.h"

#include "lib/fwall/context_calls.h"
#include "lib/fwall/proxy.h"

#include <gtest/gtest.h>
#include <memory>

static std::string cut(std::size_t length)
{
    return std::string(length, 'x');
}

TEST(ConnectionContext, TextFieldsKeepTheirLimit)
{
    const auto check = [](auto set, auto get, std::size_t limit) {
        CConnectionContext context;
        for (const std::size_t length : {limit, limit + 1, 2 * limit, std::size_t{1}}) {
            set(&context, cut(length).c_str());
            EXPECT_EQ(get(&context), cut(std::min(length, limit)));
        }
        set(&context, get(&context)); // its own text
        EXPECT_STREQ(get(&context), "x");
        set(&context, nullptr);
        EXPECT_STREQ(get(&context), "");
        EXPECT_EQ(get(nullptr), nullptr);
        set(nullptr, "x");
    };
    check(SetUser, GetUser, 63);
    check(SetDstIPAddress, GetDstIPAddress, 15);
    check(SetSrcIPAddress, GetSrcIPAddress, 15);
}

TEST(ConnectionContext, CopyTakesAllButTheIdentifier)
{
    using owned = std::unique_ptr<CConnectionContext, void (*)(CConnectionContext *)>;
    const owned global(InitConnectionContextG(), DestroyConnectionContext);
    std::string text(40, '?');
    global->GetRuleNumber(text.data(), text.size()); // 32 bytes and no more
    EXPECT_EQ(text, "N/A" + std::string(29, '\0') + "????????");
    SetSrcPort(global.get(), 1);
    SetDstPort(global.get(), 2);
    SetMappedDstPort(global.get(), 3);
    SetUser(global.get(), "user");
    SetDstIPAddress(global.get(), "10.0.0.1");
    SetSrcIPAddress(global.get(), cut(600).c_str());
    SetRule(global.get(), cut(40).c_str(), "label", 4);
    SetConnectionID(global.get(), "id");
    EXPECT_EQ(proxy_riaddr, cut(511));
    const owned copy(CopyConnectionContext(global.get()), DestroyConnectionContext);
    SetSrcIPAddress(global.get(), nullptr);
    EXPECT_STREQ(proxy_riaddr, "");
    EXPECT_EQ(GetSrcPort(copy.get()), 1);
    EXPECT_EQ(GetDstPort(copy.get()), 2);
    EXPECT_EQ(GetMappedDstPort(copy.get()), 3);
    EXPECT_STREQ(GetUser(copy.get()), "user");
    EXPECT_STREQ(GetDstIPAddress(copy.get()), "10.0.0.1");
    EXPECT_EQ(GetSrcIPAddress(copy.get()), cut(15));
    EXPECT_EQ(copy->GetLogLevel(), 4);
    copy->GetRuleNumber(text.data(), text.size());
    EXPECT_EQ(text, cut(32) + "????????");
    copy->GetRuleLabel(text.data(), 3);
    EXPECT_TRUE(text.starts_with("labx"));
    copy->GetConnectionID(text.data(), text.size());
    EXPECT_STREQ(text.c_str(), "");
    EXPECT_EQ(CopyConnectionContext(nullptr), nullptr);
}

TEST(ServiceContext, KeepsACopyOfTheList)
{
    CServiceContext context;
    cfgrec *list = cfg_make("a", 0, 1, 0, nullptr);
    SetProxyConfList(&context, list);
    EXPECT_NE(GetProxyConfList(&context), list);
    cfg_free(list);
    SetProxyConfList(&context, GetProxyConfList(&context)); // its own list
    ASSERT_NE(GetProxyConfList(&context), nullptr);
    EXPECT_STREQ(GetProxyConfList(&context)->keyword, "a");
    SetProxyConfList(&context, cfg_failure());
    EXPECT_EQ(GetProxyConfList(&context), nullptr);
    SetProxyName(&context, cut(2000).c_str());
    EXPECT_EQ(GetProxyName(&context), cut(1023));
}

TEST(ContextCalls, AcceptNull)
{
    EXPECT_EQ(GetServiceType(nullptr), 3);
    EXPECT_EQ(GetSrcPort(nullptr), -1);
    EXPECT_EQ(GetProxyName(nullptr), nullptr);
    SetRule(nullptr, "1", "2", 3);
}
