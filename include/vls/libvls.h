/* libvls: every public header at once. */
#ifndef VLS_LIBVLS_H
#define VLS_LIBVLS_H

#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsctype.h>
#include <vls/vlsfmt.h>
#include <vls/vlsmon.h>
#include <vls/vlscv.h>
#include <vls/vlsclient.h>
#include <vls/vlsenv.h>
#include <vls/vlsinit.h>
#include <vls/vlsio.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsspec.h>
#include <vls/vlsstr.h>
#include <vls/vlstime.h>
#include <vls/vlstmfmt.h>
#include <vls/vlsvlu.h>
#include <vls/decimal.h>

#endif
