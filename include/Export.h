// SPDX-License-Identifier: MIT
/// @file
/// Marks the classes that the shared library exports.
#ifndef ORV_MONTAGE_EXPORT_H
#define ORV_MONTAGE_EXPORT_H

#if defined(MONTAGE_STATIC)
#define MONTAGE_API
#elif defined(_WIN32) && defined(MONTAGE_BUILDING)
#define MONTAGE_API __declspec(dllexport)
#elif defined(_WIN32)
#define MONTAGE_API __declspec(dllimport)
#else
#define MONTAGE_API __attribute__((visibility("default")))
#endif

#endif  // ORV_MONTAGE_EXPORT_H
