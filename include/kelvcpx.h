/**
 * @file
 * Everything at once: all public headers of kelvcpx.
 */
#ifndef KELVCPX_H
#define KELVCPX_H

#include <kelvcpx/block.h>
#include <kelvcpx/convert.h>
#include <kelvcpx/core.h>
#include <kelvcpx/dv.h>
#include <kelvcpx/h261.h>
#include <kelvcpx/h261_filter.h>
#include <kelvcpx/h263.h>
#include <kelvcpx/h263_filter.h>
#include <kelvcpx/h263_resample.h>
#include <kelvcpx/h264_encode.h>
#include <kelvcpx/h264_high.h>
#include <kelvcpx/h264_inter.h>
#include <kelvcpx/h264_residual.h>
#include <kelvcpx/h264_transform.h>
#include <kelvcpx/metrics.h>
#include <kelvcpx/mpeg2.h>
#include <kelvcpx/mpeg2_encode.h>
#include <kelvcpx/mpeg4.h>
#include <kelvcpx/mpeg4_motion.h>
#include <kelvcpx/mpeg4_postfilter.h>
#include <kelvcpx/types.h>

#endif /* KELVCPX_H */
