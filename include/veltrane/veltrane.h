/* The plain C interface of libveltrane. */
#ifndef VELTRANE_VELTRANE_H
#define VELTRANE_VELTRANE_H

#include "veltrane/allocator.h"
#include "veltrane/bitreader.h"
#include "veltrane/color.h"
#include "veltrane/decoder.h"
#include "veltrane/entropy.h"
#include "veltrane/recon.h"
#include "veltrane/session.h"

#endif
