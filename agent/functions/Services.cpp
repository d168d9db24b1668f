#include "functions/Services.h"

#include <initializer_list>

#include "functions/Shapes.h"
#include "sdk/RouterSdk.h"

static const size_t kAccountSize = 16; // a text of 16 characters fills its field without a terminator

int ReservedQuery(WireReader *, WireWriter *reply)
{
    WirePutZeros(reply, 20);
    WirePut8(reply, 1);
    return 0;
}

int ServicesQuery(WireReader *, WireWriter *reply)
{
    int result = 0;
    for (auto get : {get_ftp_switch, get_sambaenable_switch, get_telnetenable_switch})
        result = FirstFailure(result, PutSwitch(reply, get));
    return result;
}

int ServicesSetting(WireReader *parameters, WireWriter *)
{
    int result = 0;
    for (auto set : {set_ftp_switch, set_sambaenable_switch, set_telnetenable_switch})
        result = FirstFailure(result, set(WireGet8(parameters)));
    return result;
}

int AccountsQuery(WireReader *, WireWriter *reply)
{
    int result = 0;
    for (auto get :
         {get_ftp_user, get_ftp_password, get_samba_user, get_samba_password, get_telnet_user, get_telnet_password})
        result = FirstFailure(result, PutText<kAccountSize>(reply, get));
    return result;
}

int AccountsSetting(WireReader *parameters, WireWriter *)
{
    int result = 0;
    for (auto set :
         {set_ftp_user, set_ftp_password, set_samba_user, set_samba_password, set_telnet_user, set_telnet_password}) {
        char text[kAccountSize + 1] = {};
        WireGetBytes(parameters, text, kAccountSize);
        result = FirstFailure(result, set(text));
    }
    return result;
}
