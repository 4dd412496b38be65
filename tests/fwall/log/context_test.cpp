#include "lib/fwall/log/context.h"

#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/table/proxy.h"

#include <gtest/gtest.h>
#include <memory>
#include <sys/mman.h> // first: headers of the host define macros that begin as our names might

using namespace flatlink;

static std::string cut(std::size_t length)
{
    return std::string(length, 'x');
}

TEST(ConnectionContext, TextFieldsKeepTheirLimit)
{
    const auto check = [](auto set, auto get, std::size_t limit) {
        CConnectionContext context;
        for (const std::size_t length : {limit, limit + 1, std::size_t{1}}) {
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

// Numbers, then texts; the rule's number with what follows its field, three signs of its label.
static std::string fields_of(const CConnectionContext &context)
{
    char number[] = "????????????????????????????????????????", label[] = "???", id[33] = "";
    context.GetRuleNumber(number, 40);
    context.GetRuleLabel(label, 3);
    context.GetConnectionID(id, 32);
    std::string text;
    for (const int value : {context.GetSrcPort(), context.GetDstPort(), context.GetMappedDstPort(),
                            context.GetLogLevel()})
        text += std::to_string(value) + ' ';
    return text + context.GetSrcIPAddress() + ' ' + context.GetDstIPAddress() + ' ' +
           context.GetUser() + ' ' + number + ' ' + label + ' ' + id;
}

TEST(ConnectionContext, CopyTakesAllButTheIdentifier)
{
    CConnectionContextG global;
    SetSrcPort(&global, 1);
    SetDstPort(&global, 2);
    SetMappedDstPort(&global, 3);
    SetUser(&global, "user");
    SetDstIPAddress(&global, "10.0.0.1");
    SetSrcIPAddress(&global, cut(600).c_str());
    SetRule(&global, cut(40).c_str(), "label", 4);
    SetConnectionID(&global, "id");
    EXPECT_EQ(proxy_riaddr, cut(511));
    const std::unique_ptr<CConnectionContext> copy(CopyConnectionContext(&global));
    SetSrcIPAddress(&global, nullptr);
    const std::string rest = " 10.0.0.1 user " + cut(32) + "???????? lab ";
    EXPECT_EQ(fields_of(global), "1 2 3 4 " + rest + "id");
    EXPECT_EQ(fields_of(*copy), "1 2 3 4 " + cut(15) + rest);
    EXPECT_EQ(CopyConnectionContext(nullptr), nullptr);
}

TEST(ServiceContext, KeepsACopyOfTheList)
{
    CServiceContext context;
    cfgrec *list = cfg_make("a", 0, 1, 0, nullptr);
    SetProxyConfList(&context, list);
    cfg_free(list);
    SetProxyConfList(&context, GetProxyConfList(&context)); // its own list
    EXPECT_STREQ(GetProxyConfList(&context)->keyword, "a");
    SetProxyConfList(&context, cfg_failure());
    EXPECT_EQ(GetProxyConfList(&context), nullptr);
    SetProxyName(&context, cut(2000).c_str());
    EXPECT_EQ(GetProxyName(&context), cut(1023));
}
