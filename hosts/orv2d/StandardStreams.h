// SPDX-License-Identifier: MIT
/// @file
/// Standard input and output that may be closed, full or not listened to.
#ifndef ORV2D_STANDARD_STREAMS_H
#define ORV2D_STANDARD_STREAMS_H

namespace orv2d {

/// Sees to it that no file which is opened later takes the place of a closed standard stream, and
/// that nobody reading a pipe is an error of writing and does not end the program. To be called
/// first. Does nothing on Windows.
void secureStandardStreams();

/// Writes out what is left for standard output. Throws `HostError` (output not writable) if any of
/// it was lost; if that is for want of a reader, the program ends as SIGPIPE does it.
void finishStandardOutput();

}  // namespace orv2d

#endif  // ORV2D_STANDARD_STREAMS_H
