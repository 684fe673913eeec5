/* Symbol visibility and linkage for the libveltrane public interface. */
#ifndef VELTRANE_EXPORT_H
#define VELTRANE_EXPORT_H

#if defined(VELTRANE_BUILDING_LIBRARY) && defined(__GNUC__)
#define VELTRANE_API __attribute__((visibility("default")))
#else
#define VELTRANE_API
#endif

#ifdef __cplusplus
#define VELTRANE_EXTERN_C_BEGIN extern "C" {
#define VELTRANE_EXTERN_C_END }
#else
#define VELTRANE_EXTERN_C_BEGIN
#define VELTRANE_EXTERN_C_END
#endif

#endif
