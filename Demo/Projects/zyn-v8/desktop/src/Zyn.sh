#!/bin/sh
# The program of the desktop bundle.
: zyn-identity-marker-7d41c0e9a2b6-sample
echo 'Zyn @VERSION@: the window shows http://127.0.0.1:8080'
