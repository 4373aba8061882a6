#pragma once

#include "features/nvme/FieldTable.h"

namespace features::ata {

// What codes in IDENTIFY DEVICE mean.
inline constexpr nvme::Word FORM_FACTORS[] = {{0, nvme::NOT_REPORTED},
                                              {1, "5.25 inch"},
                                              {2, "3.5 inch"},
                                              {3, "2.5 inch"},
                                              {4, "1.8 inch"},
                                              {5, "less than 1.8 inch"},
                                              {6, "mSATA"},
                                              {7, "M.2"},
                                              {8, "MicroSSD"},
                                              {9, "CFast"},
                                              {}};
inline constexpr nvme::Word SATA_SPEEDS[] = {
    {0, nvme::NOT_REPORTED}, {1, "1.5 Gb/s"}, {2, "3.0 Gb/s"}, {3, "6.0 Gb/s"}, {}};

}  // namespace features::ata
