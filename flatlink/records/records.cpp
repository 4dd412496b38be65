#include "flatlink/records/records.h"

using namespace flatlink;

record_list<linkinfo> linkinfos;
record_list<vpnlink> links;
record_stack<ikepol> ikepolicy;
record_stack<ipsecpol> ipsecpolicy;
record_list<mcpool> mcpools;
record_list<swkey> swkeys;
record_list<vpn_intf> intf_list;

std::string anonsecret;
std::string clientIKEpolicy;
std::int32_t klevelHardAccel = 1;
std::int32_t ulevelHardAccel = 1;
std::int32_t aggressiveMode = 0;
std::string ip_hostname;
std::string ip_domainname;
std::string ip_myhostname;

std::int32_t cryptoThreadCount = 2;
std::int32_t autosortold = 0;
std::int32_t swipelinks = 0;
std::string my_def_interface;
u32 my_def_route = 0;

std::int32_t outside_id = -1, inside_id = -1, thirdside_id = -1;
u32 outside_addr = 0, inside_addr = 0, thirdside_addr = 0;
u32 outside_mask = NOT_AN_ADDRESS, inside_mask = NOT_AN_ADDRESS, thirdside_mask = NOT_AN_ADDRESS;
std::string outside_face, inside_face, thirdside_face;

void flatlink::reset_records()
{
    linkinfos.clear();
    links.clear();
    ikepolicy.clear();
    ipsecpolicy.clear();
    mcpools.clear();
    swkeys.clear();
    intf_list.clear();
    for (std::string *text :
         {&anonsecret, &clientIKEpolicy, &ip_hostname, &ip_domainname, &ip_myhostname,
          &my_def_interface, &outside_face, &inside_face, &thirdside_face})
        text->clear();
    klevelHardAccel = ulevelHardAccel = 1;
    aggressiveMode = 0;
    cryptoThreadCount = 2;
    autosortold = swipelinks = 0;
    my_def_route = 0;
    outside_id = inside_id = thirdside_id = -1;
    outside_addr = inside_addr = thirdside_addr = 0;
    outside_mask = inside_mask = thirdside_mask = NOT_AN_ADDRESS;
}
