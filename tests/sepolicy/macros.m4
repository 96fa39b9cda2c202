dnl Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
divert(-1)
The platform's macros that the policy uses: what each of them allows.

define(`TCSETS', `0x5402')
define(`TIOCMBIS', `0x5416')
define(`TIOCMBIC', `0x5417')

define(`create_socket_perms_no_ioctl',
    `{ create read write getattr setattr lock append map bind connect getopt setopt shutdown }')

init_daemon_domain(domain): init starts the program of type domain_exec in it.
define(`init_daemon_domain', `
allow init $1_exec:file { getattr open read execute map };
allow init $1:process { transition siginh rlimitinh };
allow $1 $1_exec:file { entrypoint open read getattr execute map };
allow $1 init:process sigchld;
type_transition init $1_exec:process $1;
')

hal_attribute(name): who is a service of this kind, who its client.
define(`hal_attribute', `
attribute hal_$1;
attribute hal_$1_client;
attribute hal_$1_server;
')

define(`hal_server_domain', `
typeattribute $1 halserverdomain, $2_server, $2;
')

define(`hal_client_domain', `
typeattribute $1 halclientdomain, $2_client;
')

hwbinder_use(domain): may look services up, and be looked up.
define(`hwbinder_use', `
allow $1 hwservicemanager:binder { call transfer };
allow hwservicemanager $1:binder { call transfer };
allow hwservicemanager $1:dir search;
allow hwservicemanager $1:file { read open map };
allow hwservicemanager $1:process getattr;
')

binder_call(client, server): the client calls; either hands objects and descriptors to the other.
define(`binder_call', `
allow $1 $2:binder { call transfer };
allow $2 $1:binder transfer;
allow $1 $2:fd use;
')

define(`add_hwservice', `
allow $1 $2:hwservice_manager { add find };
allow $1 hidl_base_hwservice:hwservice_manager add;
neverallow { domain -$1 } $2:hwservice_manager add;
')

define(`hal_attribute_hwservice', `
allow $1_client $2:hwservice_manager find;
add_hwservice($1_server, $2)
neverallow { domain -$1_client -$1_server } $2:hwservice_manager find;
')

define(`get_prop', `
allow $1 $2:file { getattr open read map };
')

define(`set_prop', `
allow $1 $2:property_service set;
get_prop($1, $2)
')

define(`vendor_internal_prop', `
type $1, property_type, vendor_property_type;
neverallow coredomain $1:file { open read };
')
divert`'dnl
