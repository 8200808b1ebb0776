#pragma once

#include <string>
#include <string_view>
#include <vector>

// The programs that start and stop servers where there is no service manager: the file "/etc/zop/servers". A
// line is the server's name, "start" or "stop", then the name of a program of "/usr/sbin", "/usr/bin",
// "/sbin" or "/bin" and its arguments, with blanks between them:
//
//     modbus_tcp start modbusd
//     modbus_tcp stop killall modbusd
//
// The program ends when the server runs, or has ended. A '#' begins a comment. The names are http, https,
// telnet, ssh, snmp_v1v2c, snmp_v3 and modbus_tcp.

/// Whether there is such a file: a plain one of root's, under one name, that nobody else can write.
[[nodiscard]] bool server_programs_are_there();

/// The program and its arguments; empty when the file has no line for it, or is not to be trusted.
[[nodiscard]] std::vector<std::string> server_programs_find(std::string_view server, std::string_view verb);
