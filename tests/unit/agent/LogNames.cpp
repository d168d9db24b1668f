#include "tests/unit/agent/LogNames.h"

const std::vector<LogName> kLogNames = {
    {"Options", "Common", "config_line_proc", "Error: -f argument given but no file specified."},
    {"Options", "Common", "config_line_proc", "Error: mac format must be \"aabbccddeeff\"."},
    {"Options", "Common", "config_line_proc", "Unknown option: %c"},
    {"File", "Common", "NewProgramProfile", "use config file  [%s]"},
    {"File", "Common", "NewProgramProfile", "use config file\t[%s]"},
    {"File", "Common", "getKeyValueStr", "Can not fopen(\"%s\")."},
    {"File", "Common", "getKeyValueStr", "Not find Key=\"%s\" and no default_str to use."},
    {"Settings", "Protool", "InitProtool", "RegPort error."},
    {"Settings", "Protool", "InitProtool", "PIN:\t%s"},
    {"Settings", "Protool", "InitProtool", "KEY:\t%s"},
    {"Settings", "Protool", "InitProtool", "SERVER1:\t%s"},
    {"Settings", "Protool", "InitProtool", "SERVER2:\t%s"},
    {"Settings", "Protool", "InitProtool", "PORT:\t%s"},
    {"Settings", "Protool", "InitProtool", "DNS resolve addres1 error !!!"},
    {"Settings", "Protool", "InitProtool", "DNS resolve addres2 error !!!"},
    {"Settings", "TcpServer", "GetServerIp", "gethostbyname error for host:%s"},
    {"Settings", "TcpServer", "GetServerIp", "hostname: %s"},
    {"Settings", "TcpServer", "GetServerIp", "ip: %s"},
    {"Settings", "TcpServer", "GetServerIp", "server_ip is empty."},

    {"Start", "Plug", "main", "Log system [debug] working."},
    {"Start", "Plug", "main", ">>>>>>>>>>>>>>>>> Plugin Version = %s"},
    {"Cycle", "Plug", "main", "Register server1..."},
    {"Cycle", "Plug", "main", "Register server2..."},
    {"Cycle", "Plug", "main", "RegisterStart error."},
    {"", "Plug", "main", "LoginStart error."},
    {"", "Plug", "main", "Send calibration info."},
    {"", "Plug", "main", "Ready to Register ..."},
    {"Cycle", "Protool", "RegisterStart", "ROUTER MAC: %02X %02X %02X %02X %02X %02X"},
    {"Cycle", "Protool", "RegisterStart", "SN: %s LEN: %d"},
    {"", "Protool", "RegisterStart", "Register failed."},
    {"", "Protool", "RegisterStart", "Register server1 success."},
    {"Session", "Protool", "LoginStart", "quit regist,start login %s:%d"},
    {"Session", "Protool", "LoginStart", "Login Server wrong !"},
    {"Session", "Protool", "LoginStart", "Login ServerInit error"},
    {"", "Protool", "LoginStart", "login failed !"},
    {"", "Protool", "LoginStart", "Login done"},
    {"Session", "Protool", "HeartbeatStart", "Created check thread failed errno=%d"},
    {"Session", "Protool", "HeartbeatStart", "Created heartbeat thread failed errno=%d"},
    {"Session", "Protool", "HeartbeatStart", "exit"},
    {"Session", "Protool", "RulesRequest", "Send to platform: \n%s"},
    {"Session", "Protool", "DeleteHeartbear", "Stop check thread error..."},
    {"", "Protool", "DeleteHeartbear", "Stop heartbeat thread error..."},
    {"", "Protool", "CheckProc", "heart beep error"},
    {"Session", "Protool", "DeleteProtool", "pthread_mutex_destroy::Protool"},

    {"Frames", "Protool", "CBHandle", "optlen %d, error code = [%d]"},
    {"Frames", "Protool", "CBHandle", "regist ack error"},
    {"Frames", "Protool", "CBHandle", "register ack error"},
    {"Frames", "Protool", "CBHandle", "heart beat ack"},
    {"Frames", "Protool", "CBHandle", "net error reconnect"},
    {"Frames", "Protool", "CBHandle", "Recv MsgType=[%d] DataType=[%d] DataLen=[%d]"},
    {"Sending", "Protool", "SendIpUpData", "Send MsgType=[%u] DataType=[%u] "},
    {"Sending", "Protool", "SendRouteUpData", "mTcpConnectServer->sendData error"},
    {"Sending", "Protool", "aes_encrypt", "Unable to set encryption key in AES error !!!!!"},
    {"Sending", "Protool", "aes_decrypt", "Unable to set decryption key in AES error !!!!!"},
    {"Sending", "TcpQueue", "push", "over flow"},
    {"Connecting", "TcpServer", "SocketInit", "Client running."},
    {"Connecting", "TcpServer", "SocketInit", "Create socket failed!"},
    {"Connecting", "TcpServer", "SocketInit", "setsockopt(SO_REUSEADDR) Failed!"},
    {"Connecting", "TcpServer", "SocketInit", "setsockopt(SO_SNDBUF) Failed!"},
    {"Cycle", "TcpServer", "SocketInit", "connect failed!......"},
    {"Connecting", "TcpServer", "SocketInit", "SocketInit error"},
    {"Connecting", "TcpServer", "SocketInit", "connected."},
    {"Connecting", "TcpServer", "SocketInit", "Create response thread failed"},
    {"Connecting", "TcpServer", "SocketInit", "Create receive thread error."},
    {"Connecting", "TcpServer", "DeleteServer", "Stop response thread error..."},
    {"Connecting", "TcpServer", "DeleteServer", "Stop rtsp client stream error..."},
    {"Receiving", "TcpServer", "ServerRecv", "Net error."},
    {"Receiving", "TcpServer", "ServerRecv", "unknow err."},
    {"Receiving", "TcpServer", "ServerRecv", "receive error."},
    {"Receiving", "TcpServer", "ServerRecv", "Close link."},
    {"Receiving", "TcpServer", "RespProc", "regist or connnect ack len = %d,%d"},

    {"Functions", "ProtoolSdk", "ParserProtoolData", "ParserProtoolData funcid %d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ssid channel %d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "speed1=%d Mbps"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "Get SubdevMutex failed"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: get mesh support failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: set mesh switch failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: set mesh roaming switch failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: get mesh roaming switch failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: set mesh roaming threshold failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "get threshold %d,%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: get mesh topology failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: get bssid failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: set wan configure failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: trigger onekey optimize failed! ret=%d"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: config data have errors!!!"},
    {"Functions", "ProtoolSdk", "ParserProtoolData", "ERROR: set auto report failed! ret=%d"},
    {"Diagnostics", "ProtoolSdk", "PopenParsePing", "ping --------------%s"},
    {"Diagnostics", "ProtoolSdk", "PopenParsePing", "------------ping len =%d,result = %s"},
    {"Diagnostics", "ProtoolSdk", "KillTrace500s", "kill traceroute"},
    {"Diagnostics", "ProtoolSdk", "KillTrace500s", "Exit killTrace"},
    {"Diagnostics", "ProtoolSdk", "dev_fwversion_report", "fwDate:%s"},
    {"Diagnostics", "ProtoolSdk", "dev_fwversion_report", "fwversion:\n%s"},
    {"Rates", "ProtoolSdk", "RateTestThread", "route rate --------------- %d"},
    {"Rates", "ProtoolSdk", "RateTestThread", "route rate up ret %d"},
    {"Rates", "ProtoolSdk", "RateTestProc", "route rate --------------- %d"},
    {"Rates", "ProtoolSdk", "RateTestProc", "route rate up ret %d"},
    {"Rates", "ProtoolSdk", "RateTestProc", "port length: %d"},
    {"Rates", "ProtoolSdk", "RateTestProc", "server len  %d"},
    {"Rates", "ProtoolSdk", "RateTestProc", "serverName: %s, port: %d, url: %s"},
    {"Rates", "ProtoolSdk", "ParseConfigData", "ConfigData: %s"},
    {"Rates", "ProtoolSdk", "ParseConfigData", "func61 address: %s"},
    {"Rates", "ProtoolSdk", "ParseConfigData", "Please wait last finish."},
    {"Rates", "ProtoolSdk", "ParserProtoolData", "Please wait last finish."},
    {"Rates", "ProtoolSdk", "ParseConfigData", "Create RateTestThread Failed."},
    {"Rates", "ProtoolSdk", "ParserProtoolData", "Create RateTestThread Failed."},
    {"Rates", "Download", "DownTestRateFIle", "head %s"},
    {"Rates", "Download", "DownTestRateFIle", "head error"},
    {"Downloads", "Download", "DownLoadFIle", "head %s"},
    {"Downloads", "Download", "DownLoadFIle", "head error"},
    {"Downloads", "Download", "DownLoadFIle", "found"},
    {"Downloads", "Download", "DownLoadFIle", "Can't find Content-Length"},
    {"Downloads", "Download", "DownLoadFIle", "lengthlen %d"},
    {"Downloads", "Download", "DownLoadFIle", "lens = %d"},
    {"Downloads", "Download", "DownLoadFIle", "can't open local file"},
    {"Downloads", "Download", "DownLoadFIle", "download filename: %s"},
    {"Downloads", "Download", "DownTestRateFIle", "404 Not Found"},
    {"Downloads", "Download", "DownTestRateFIle", "Can't find Content-Length"},
    {"Downloads", "Download", "DownTestRateFIle", "lengthlen %d"},
    {"Downloads", "Download", "DownTestRateFIle", "lens = %d"},
    {"", "Download", "DownTestRateFIle", "--------------subtime %ld,lens = %d"},
    {"", "Download", "DownTestRateFIle", "--------------rate %d"},

    {"Commands", "ParseJson", "ParserPlugData", "ParserPlug datatype_update_cmd ret %d"},
    {"Commands", "ParseJson", "ParserPlugData", "update cmd ok"},
    {"Commands", "ParseJson", "ParserPlugData", "md5: down :%s"},
    {"Commands", "ParseJson", "ParserPlugData", "plug update url :%s"},
    {"Commands", "ParseJson", "ParserPlug", "port %d;mDownloadUrl : %s; mDownloadServer: %s "},
    {"Commands", "ParseJson", "ParserPlugData", "datatype_online"},
    {"Commands", "ParseJson", "ParserPlugData", "datatype_vip"},
    {"Commands", "ParseJson", "ParserPlugData", "datatype_recog"},
    {"Commands", "ParseJson", "ParserPlugData", "devrecog result  : %d"},
    {"Commands", "ParseJson", "ParserPlugData", "datatype_rerecog"},
    {"Commands", "ParseJson", "ParserPlugData", "datatype_route_set"},
    {"Commands", "ParseJson", "ParserPlugData", "datatype_fn40_interval."},
    {"Commands", "ParseJson", "ParserPlug", "func40Interval not found."},
    {"Commands", "ParseJson", "ParserPlug", "Close subdev auto report."},
    {"Commands", "ParseJson", "ParserPlug", "Set subdev auto report %d minute."},
    {"Commands", "ParseJson", "ParserPlug", "Set subdev auto report error."},
    {"Firmware", "ParseJson", "ParserPlugData", "update firmware cmd ok", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlugData", "update firmware cmd error.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlug", "fromVersion is mismatching.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlug", "toVersion is mismatching.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlugData", "update firmware file error.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlug", "url is null.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlug", "fileLength is null.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlug", "checkMethod is null.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlug", "chkSum is null.", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlug", "MD5: %s", "DEBUG"},
    {"Firmware", "ParseJson", "ParserPlugData", "send update firmware command failed.", "DEBUG"},
    {"", "ParseJson", "ParserPlugData", "send update firmware command success.", "DEBUG"},
    {"Firmware", "ParseJson", "Compute_file_md5", "fopen"},
    {"Firmware", "ParseJson", "DeleteDownloadFile", "DeleteDownloadFile"},
    {"Firmware", "ParseJson", "BuildJson", "Get SubdevMutex failed"},
    {"", "ParseJson", "ParserPlugData", "1-----------md5: down :%s"},
    {"", "ParseJson", "DownLoadProc", "1-----------md5: down :%s"},
    {"", "ParseJson", "ParserPlugData", "md5: self:%s===down :%s"},
    {"", "ParseJson", "DownLoadProc", "md5: self:%s===down :%s"},

    {"Forwarding", "RouteFunc", "ParseRouteParam", "pMsg: \n%s\n\n"},
    {"Forwarding", "RouteFunc", "ParseRouteParam", " FLAG = [%s]\n\n"},
    {"Forwarding", "RouteFunc", "ParseRouteParam", " PRE_IP = [%s]\n\n"},
    {"Forwarding", "RouteFunc", "ParseRouteParam", " PRE_PORT = [%s]\n\n"},
    {"Forwarding", "RouteFunc", "ParseRouteParam", " POST_IP = [%s]\n\n"},
    {"Forwarding", "RouteFunc", "ParseRouteParam", " POST_PORT = [%s]\n\n"},
    {"Forwarding", "RouteFunc", "AddRoute", " route_cmd1: \n%s\n\n"},
    {"Forwarding", "RouteFunc", "AddRoute", " route_cmd2: \n%s\n\n"},
    {"Forwarding", "RouteFunc", "DeleteRoute", " route_cmd1: \n%s\n\n"},
    {"Forwarding", "RouteFunc", "DeleteRoute", " route_cmd2: \n%s\n\n"},
    {"Forwarding", "RouteFunc", "ParseRouteParam", " ParseRouteParam %d : error = [%d]\n\n\n"},
    {"Limits", "RouteFunc", "ParseTcParam", "Parse json failed."},
    {"Limits", "RouteFunc", "ParseTcParam", "\nflag:%s\n dev_mac:%s\n up_flow:%s\n down_flow:%s\n\n"},
    {"Limits", "RouteFunc", "ParseTcParam", "set_dev_us_max_bw result: %d"},
    {"Limits", "RouteFunc", "ParseTcParam", "set_dev_ds_max_bw result: %d"},
    {"Limits", "RouteFunc", "ParseTcParam", "flag = 0, clean tc rules"},
    {"Limits", "RouteFunc", "ParseTcParam", "Wrong tc rule param"},
    {"Limits", "RouteFunc", "ParseTcParam", "Wrong tc rule param dev_mac"},
    {"Limits", "RouteFunc", "ParseTcParam", "Wrong tc rule param flag"},
    {"Surfing", "RouteFunc", "ParseSurfRulesParam", "Json is null."},
    {"Surfing", "RouteFunc", "ParseSurfRulesParam", "Parse json failed."},
    {"Surfing", "RouteFunc", "ParseSurfRulesParam", "Wrong surf rule param"},
    {"Surfing", "RouteFunc", "ParseSurfRulesParam",
     "flag:%s\n dev_mac:%s\n weekdays:%s\n start_time:%s\n stop_time:%s\n "
     "allowable:%s\n\n"},
    {"Surfing", "RouteFunc", "CommitSurfRule", "Wrong surf rule"},
    {"Surfing", "RouteFunc", "set_surf_rule", "Add surf rule %s"},
    {"Surfing", "RouteFunc", "del_surf_rule", "Del from surf rule %s %p"},
    {"Surfing", "RouteFunc", "del_surf_rule", "rule - %d:%d %d:%d"},
    {"Surfing", "RouteFunc", "del_surf_rule", "hash node is NULL for %s"},
    {"Surfing", "RouteFunc", "del_surf_rule", "set_dev_access_control for: %s to 1"},
    {"Surfing", "RouteFunc", "del_surf_rule", "surf rule %s removed."},
    {"Surfing", "RouteFunc", "hash_table_remove", "remove %s"},
    {"Surfing", "RouteFunc", "hash_table_lookup", "found %d  %s"},
    {"Surfing", "RouteFunc", "rule_node_exist", "surf rule exist "},
    {"Surfing", "RouteFunc", "rule_node_delete", "can't find node! "},
    {"", "RouteFunc", "rule_node_delete", "delete node done! "},
    {"", "RouteFunc", "hash_table_insert", "%s exist!"},
    {"", "RouteFunc", "rule_node_match", "surf rule match %d:%d - %d:%d"},
    {"Enforcing", "RouteFunc", "hash_table_init", "Rule table init done."},
    {"Enforcing", "Plug", "StartEaccess", "Create EaccessThread feiled !!!!!"},
    {"", "Plug", "StopEaccess", "Stop Eaccess success !!!!!"},
    {"Enforcing", "eaccess", "no_feeling_daemon", "create thread epoll ok!"},
    {"Enforcing", "eaccess", "no_feeling_daemon", "create thread epoll error!"},
    {"Enforcing", "eaccess", "no_feeling_daemon", "create TimeRuleProc error!"},
    {"", "eaccess", "no_feeling_daemon", "create TimeRuleProc ok!"},
    {"", "eaccess", "no_feeling_daemon", " thread is not exit..."},
    {"", "iot_poll", "TimeRuleProc", "TimeRuleProc runing..."},
    {"", "iot_poll", "TimeRuleProc", "TimeRuleProc return..."},
    {"Enforcing", "iot_poll", "surf_rule_func", "SubdevMutex used"},
    {"Enforcing", "iot_poll", "surf_rule_func", "get_devs_cfg failed"},
    {"Enforcing", "iot_poll", "surf_rule_func", "Sub dev num:[%d]"},
    {"Enforcing", "iot_poll", "surf_rule_func", "Can't find rule for : %s"},
    {"", "iot_poll", "surf_rule_func", "Found rule for : %s"},
    {"", "iot_poll", "surf_rule_func", "set_dev_access_control for: %s to %d"},
    {"Enforcing", "iot_signal", "eaccess_send", " %s %d error!\n\n\n"},

    {"Devices", "Subdev", "StartSubdev", "Start Subdevice task."},
    {"Devices", "Subdev", "GetBlackInfo", "TotalDevice is too large."},
    {"Devices", "Subdev", "SendtoServer", "TotalDevice is too large."},
    {"Devices", "Subdev", "GetBlackInfo", "get_dev_black_list Error."},
    {"Devices", "Subdev", "GetBlackInfo", "BlackNum=%d"},
    {"Devices", "Subdev", "GetBlackInfo", "BlackMac%d=%02x:%02x:%02x:%02x:%02x:%02x"},
    {"Devices", "Subdev", "GetBlackInfo", "Get SubdevMutex failed"},
    {"", "Subdev", "SubdevThread", "Get SubdevMutex failed"},
    {"", "Subdev", "GetFlowStatisData", "Get SubdevMutex failed"},
    {"", "Subdev", "GetOffLineInfo", "Get SubdevMutex failed"},
    {"", "Subdev", "SubdevThread", "get_devs_cfg Failed."},
    {"", "Subdev", "SubdevThread", "DeviceNum too large."},
    {"", "Subdev", "SubdevThread", "GetInNetSeg failed."},
    {"", "Subdev", "SubdevThread", "InNetSeg=%s"},
    {"", "Subdev", "GetOffLineInfo", "Unable to open file %s."},
    {"Online", "Function39", "Fn39LoadMac", "open MacConf file failed"},
    {"Online", "Function39", "Fn39LoadMac", "LOAD macconfig"},
    {"Online", "Function39", "Fn39UpdateMac", "UpdateMacProfile"},
    {"Online", "Function39", "Fn39Init", "Use function 40"},
    {"", "Function39", "Fn39ReportProc", "Use function 40"},
    {"Online", "Function39", "Fn39Init", "Malloc func39 devices failed."},
    {"Online", "Function39", "Fn39Init", "Create FnReportProc failed."},
    {"", "Function39", "Fn39UpdateMac", "file open error"},
    {"", "Function39", "Fn39ReportProc", "Func39 query..."},
    {"", "Function39", "Fn39ReportProc", "Func39 get_devs_cfg failed."},
    {"", "Function39", "Fn39OnlineReport", "Online subdev:"},
    {"Online", "Function40", "Fn40Handle", "Subdev number error."},
    {"Online", "Function40", "Fn40Handle", "Subdev length error."},
    {"Online", "Function40", "Fn40Handle", "Have subdev data."},
    {"Online", "Function40", "Fn40Handle", "Subdev offline."},
    {"Online", "Function40", "Fn40Init", "Create Fn40FilterProc failed."},
    {"Online", "Function40", "Fn40FilterProc", "Clean 40 subdev."},
    {"", "Function40", "Fn40OnlineReport", "Online subdev:"},

    {"Server", "CommServer", "CommServerStart", "Malloc CommRQ failed."},
    {"Server", "CommServer", "CommServerStart", "Queue Init error"},
    {"Server", "CommServer", "CommServerStart", "Create CommServerProc failed."},
    {"Local", "CommServer", "CommHandleProc", "Receive length error, length is %d"},
    {"Local", "CommServer", "CommHandleProc", "Receive head error."},
    {"Local", "CommServer", "CommHandleProc", "Receive  sequence error."},
    {"Local", "CommServer", "CommHandleProc", "Receive  checkSum error."},
    {"Local", "CommServer", "CommHandleProc", "comm_get_version"},
    {"Local", "CommServer", "CommHandleProc", "Error funcID"},
    {"Local", "CommServer", "CommHandleProc", "Old plugin no plugin state notice."},
    {"Local", "CommServer", "CommHandleProc", "ERROR: send plugin state failed!"},
    {"Local", "CommServer", "CommFuncRecv", "Recv length: %d"},
    {"Local", "CommServer", "CommFuncRecv", "ERROR: receive data too large!"},
    {"Local", "CommServer", "CommAutoReport89", "Type1 report interval: %ld seconds!"},
    {"Local", "CommServer", "CommAutoReport89", "ERROR: type1 report error!"},
    {"Local", "CommServer", "CommAutoReport89", "ERROR: type2 report error!"},
    {"Local", "CommServer", "CommAutoReport89", "Type3 report interval: %ld seconds!"},
    {"Local", "CommServer", "CommAutoReport89", "ERROR: type3 report error!"},
    {"Local", "CommServer", "CommAutoReport89", "ERROR: type error!"},
    {"Local", "CommServer", "CommFwUpdateResult", "Firmware update return length error."},
    {"Local", "CommServer", "CommFwUpdateResult", "update firmware success."},
    {"Local", "CommServer", "CommFwUpdateResult", "update firmware file error."},
    {"Local", "CommServer", "Comm_get_88Conf", "Receive 88 info:\n%s, length=%d"},
    {"Requests", "CommServer", "CommSendCmd", "Function CMD error."},
    {"Requests", "CommServer", "CommSendCmd", "Error comm_subdev_report"},
    {"Requests", "CommServer", "CommSendCmd", "funcCMD error"},
    {"Requests", "CommServer", "CommSendCmd", "get mesh support"},
    {"", "CommServer", "CommSendCmd", "comm_get_version"},
    {"Requests", "CommServer", "ComF_get_mesh_support", "ERROR: send get mesh support command failed!"},
    {"Requests", "CommServer", "ComF_send_pluginstate", "ERROR: send plugin state failed!"},
    {"Requests", "CommServer", "ComF_get_autoreport_conf", "ERROR: get auto report config info failed!"},
    {"Requests", "CommServer", "Route_Wait", "ERROR: request timeout!"},
    {"Reporting", "CommServer", "ComF_set_auto_report", "Receive 88 info:\n%s, length=%d"},
    {"Reporting", "CommServer", "ComF_set_auto_report", "referNum is error !!!!!!"},
    {"Reporting", "CommServer", "ComF_set_auto_report", "Calibration time error !!!!!!"},
    {"Reporting", "CommServer", "ComF_set_auto_report", "MacVal: %d"},
    {"Reporting", "CommServer", "ComF_set_auto_report", "jump time is error!"},
    {"Reporting", "CommServer", "ComF_set_auto_report", "set auto report info:\n%s, length=%d"},
    {"Reporting", "CommServer", "ComF_set_auto_report", "ERROR: send set autoreport switch command failed!"},
    {"Reporting", "CommServer", "ComF_send_calibration", "referNum is error !!!!!!"},
    {"Reporting", "CommServer", "ComF_send_calibration", "MacVal: %d"},
    {"Reporting", "CommServer", "ComF_send_calibration", "jump time is error!"},
    {"Reporting", "CommServer", "ComF_send_calibration", "set auto report info:\n%s, length=%d"},
    {"Reporting", "CommServer", "ComF_send_calibration", "ERROR: send set autoreport switch command failed!"},
    {"Reporting", "CommServer", "ComF_send_calibration", "Function 89 closed, no need calibration!"},
    {"Reporting", "CommServer", "ComF_send_calibration", "Function 89 no config, no need calibration!"},
    {"Reporting", "CommServer", "jumpTimeToSec", "jump time is little than 3600!"},
    {"Reporting", "CommServer", "jumpTimeToSec", "Time data length error!!!"},
};

// The text without the line feeds at its end, of which every line has two.
static std::string Trimmed(std::string text)
{
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

// Reads "... [LEVEL] [module->function->line" backwards from `end`, where "]-> " stands. `begin` becomes the line's.
// By hand and not by a regular expression: some tests log megabytes.
static bool ReadHead(const std::string &log, size_t end, size_t *begin, LogText *entry)
{
    const size_t open = log.rfind('[', end);
    const size_t first = log.find("->", open);
    const size_t second = first < end ? log.find("->", first + 2) : end;
    if (open == std::string::npos || open < 3 || second >= end || log.compare(open - 2, 2, "] ") != 0) return false;
    if (log.find_first_not_of("0123456789", second + 2) != end) return false;
    const size_t level = log.rfind('[', open - 2);
    if (level == std::string::npos) return false;
    entry->level = log.substr(level + 1, open - 2 - (level + 1));
    entry->module = log.substr(open + 1, first - (open + 1));
    entry->function = log.substr(first + 2, second - (first + 2));
    const size_t feed = log.rfind('\n', level);
    *begin = feed == std::string::npos ? 0 : feed + 1;
    return true;
}

std::vector<LogText> LogTexts(const std::string &log)
{
    std::vector<LogText> texts;
    size_t text = 0; // where that of the last entry begins
    for (size_t at = log.find("]-> "); at != std::string::npos; at = log.find("]-> ", at + 1)) {
        LogText entry;
        size_t begin;
        if (!ReadHead(log, at, &begin, &entry)) continue;
        if (!texts.empty()) texts.back().text = Trimmed(log.substr(text, begin - text));
        texts.push_back(entry);
        text = at + 4;
    }
    if (!texts.empty()) texts.back().text = Trimmed(log.substr(text));
    return texts;
}

// The pieces of a fixed text between its placeholders; a text without any is one piece.
static std::vector<std::string> Pieces(const std::string &format)
{
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < format.size(); i++) {
        if (format[i] != '%') {
            pieces.back() += format[i];
            continue;
        }
        i = format.find_first_not_of("%0123456789l", i);
        pieces.emplace_back();
    }
    return pieces;
}

bool HasText(const LogText &entry, const LogName &name)
{
    if (entry.module != name.module) return false;
    const std::vector<std::string> pieces = Pieces(Trimmed(name.text));
    if (pieces.size() == 1) return entry.text == pieces[0];
    if (entry.text.compare(0, pieces[0].size(), pieces[0]) != 0) return false;
    size_t at = pieces[0].size();
    for (size_t i = 1; i < pieces.size(); i++) {
        const size_t found = entry.text.find(pieces[i], at);
        if (found == std::string::npos) return false;
        at = found + pieces[i].size();
    }
    return true;
}

bool HasName(const LogText &entry, const LogName &name)
{
    return entry.function == name.function && (*name.level == '\0' || entry.level == name.level);
}

std::string Misnamed(const std::string &log)
{
    std::string lines;
    for (const LogText &entry : LogTexts(log)) {
        bool fixed = false;
        bool named = false;
        for (const LogName &name : kLogNames) {
            if (!HasText(entry, name)) continue;
            fixed = true;
            named = named || HasName(entry, name);
        }
        if (fixed && !named)
            lines += entry.level + " " + entry.module + "->" + entry.function + ": " + entry.text + "\n";
    }
    return lines;
}
