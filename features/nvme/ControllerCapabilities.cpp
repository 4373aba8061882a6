#include "features/nvme/ControllerCapabilities.h"

#include "features/nvme/Bytes.h"

namespace features::nvme {

ControllerCapabilities::ControllerCapabilities(const uint8_t* identify)
    : vid(le16(identify)),
      cmic(identify[76]),
      mdts(identify[77]),
      cntlid(le16(identify + 78)),
      version(le32(identify + 80)),
      oaes(le32(identify + 92)),
      ctratt(le32(identify + 96)),
      oacs(le16(identify + 256)),
      frmw(identify[260]),
      lpa(identify[261]),
      elpe(identify[262]),
      npss(identify[263]),
      apsta(identify[265]),
      mtfa(le16(identify + 270)),
      fwug(identify[319]),
      edstt(le16(identify + 316)),
      hmpre(le32(identify + 272)),
      kas(le16(identify + 320)),
      hctma(le16(identify + 322)),
      sanicap(le32(identify + 328)),
      pels(le32(identify + 352)),
      nn(le32(identify + 516)),
      oncs(le16(identify + 520)),
      fna(identify[524]),
      vwc(identify[525]),
      nwpc(identify[531]),
      mnan(le32(identify + 540)) {}

}  // namespace features::nvme
