#include "lib/ulib/name_service.h"

const name_service_calls HOST_NAME_SERVICE = {
    .host_by_name = gethostbyname,
    .host_by_address = gethostbyaddr,
    .service_by_name = getservbyname,
};

const name_service_calls *name_service = &HOST_NAME_SERVICE;
