#include "lib/ulib/name_service.h"

using namespace flatlink;

const name_service_calls flatlink::HOST_NAME_SERVICE = {
    .host_by_name = gethostbyname,
    .host_by_address = gethostbyaddr,
    .service_by_name = getservbyname,
};

const name_service_calls *flatlink::name_service = &HOST_NAME_SERVICE;
