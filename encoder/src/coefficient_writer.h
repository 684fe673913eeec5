// Writes the TCOEF events of one block: table codes with their sign bit, and
// ESCAPEs in the layout of the picture's format version.
#ifndef VELTRANE_ENCODER_COEFFICIENT_WRITER_H
#define VELTRANE_ENCODER_COEFFICIENT_WRITER_H

#include "bit_writer.h"
#include "quantiser.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::enc {

// Writes the events of the non-zero levels from scan index `first` to
// `levels.lastScan`, which must be at least `first`; counts escapes in `stats`.
void WriteBlockEvents(BitWriter& writer, const BlockLevels& levels, int first, int version,
                      EncoderStats* stats);

// Writes one event (level not 0; escaped levels must fit the version's escape).
void WriteEvent(BitWriter& writer, int last, int run, int level, int version, EncoderStats* stats);

}  // namespace veltrane::enc

#endif
