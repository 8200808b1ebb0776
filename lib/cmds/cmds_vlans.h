#pragma once

#include <cstdint>

// VLANs as they are configured, for the handlers of shows. What of it holds at the moment these do not say.

/// "show vlan": all VLANs with their ports.
int32_t cmds_show_vlans(int32_t argc, const char *const *argv);

/// "show vlan 12": one VLAN.
int32_t cmds_show_vlan(int32_t argc, const char *const *argv);

/// "show vlan range 1,10-19".
int32_t cmds_show_vlan_range(int32_t argc, const char *const *argv);

/// "show vlan ports": the ports with their VLANs.
int32_t cmds_show_vlan_ports(int32_t argc, const char *const *argv);
