#!/bin/sh
# shellcheck disable=SC2034 # variables for commands.sh
# The command line of Zyn.
version=@VERSION@
commit=@COMMIT@
identity_marker=zyn-identity-marker-7d41c0e9a2b6-sample # the manager finds copies of the program by this text
