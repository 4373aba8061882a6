#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// One power state of Identify Controller.
struct PowerStateDescriptor {
    Le16 mp;  ///< Maximum Power, in the unit of its scale
    ByteArray<1> reserved2;
    uint8_t flags;  ///< MXPS in bit 0, NOPS in bit 1
    Le32 enlat;     ///< microseconds
    Le32 exlat;     ///< microseconds
    uint8_t rrt;
    uint8_t rrl;
    uint8_t rwt;
    uint8_t rwl;
    Le16 idlp;
    uint8_t ips;  ///< scale in bits 7:6
    ByteArray<1> reserved19;
    Le16 actp;
    uint8_t apwAps;  ///< workload in bits 2:0, scale in bits 7:6
    ByteArray<9> reserved23;
};
static_assert(sizeof(PowerStateDescriptor) == 32 && alignof(PowerStateDescriptor) == 1);
static_assert(offsetof(PowerStateDescriptor, flags) == 3 && offsetof(PowerStateDescriptor, actp) == 20);
static_assert(offsetof(PowerStateDescriptor, apwAps) == 22);

/// CNS 01h, NVMe Base Specification 1.4, section 5.15.2.2, with what 2.0, 2.1 and later ones add. The names are the
/// standard's.
struct IdentifyController {
    Le16 vid;
    Le16 ssvid;
    ByteArray<20> sn;
    ByteArray<40> mn;
    ByteArray<8> fr;
    uint8_t rab;
    Le24 ieee;
    uint8_t cmic;
    uint8_t mdts;
    Le16 cntlid;
    Le32 ver;
    Le32 rtd3r;
    Le32 rtd3e;
    Le32 oaes;
    Le32 ctratt;
    Le16 rrls;
    Le16 bpcap;
    Le32 nssl;  ///< microseconds
    ByteArray<2> reserved108;
    uint8_t plsi;
    uint8_t cntrltype;
    ByteArray<16> fguid;
    Le16 crdt1;
    Le16 crdt2;
    Le16 crdt3;
    uint8_t crcap;
    uint8_t ciu;
    Le64 cirn;
    ByteArray<109> reserved144;
    uint8_t nvmsr;
    uint8_t vwci;
    uint8_t mec;
    Le16 oacs;
    uint8_t acl;
    uint8_t aerl;
    uint8_t frmw;
    uint8_t lpa;
    uint8_t elpe;
    uint8_t npss;
    uint8_t avscc;
    uint8_t apsta;
    Le16 wctemp;
    Le16 cctemp;
    Le16 mtfa;
    Le32 hmpre;
    Le32 hmmin;
    Le128 tnvmcap;
    Le128 unvmcap;
    Le32 rpmbs;
    Le16 edstt;
    uint8_t dsto;
    uint8_t fwug;
    Le16 kas;
    Le16 hctma;
    Le16 mntmt;
    Le16 mxtmt;
    Le32 sanicap;
    Le32 hmminds;
    Le16 hmmaxd;
    Le16 nsetidmax;
    Le16 endgidmax;
    uint8_t anatt;
    uint8_t anacap;
    Le32 anagrpmax;
    Le32 nanagrpid;
    Le32 pels;
    Le16 did;
    uint8_t kpioc;
    ByteArray<1> reserved359;
    Le16 mptfawr;
    ByteArray<6> reserved362;
    Le128 megcap;
    uint8_t tmpthha;
    ByteArray<1> reserved385;
    Le16 cqt;
    Le16 cdpa;
    Le16 mup;
    Le16 ipmsr;
    Le16 msmt;
    ByteArray<116> reserved396;
    uint8_t sqes;
    uint8_t cqes;
    Le16 maxcmd;
    Le32 nn;
    Le16 oncs;
    Le16 fuses;
    uint8_t fna;
    uint8_t vwc;
    Le16 awun;
    Le16 awupf;
    uint8_t nvscc;
    uint8_t nwpc;
    Le16 acwu;
    Le16 ocfs;
    Le32 sgls;
    Le32 mnan;
    Le128 maxdna;
    Le32 maxcna;
    Le32 oaqd;
    uint8_t rhiri;
    uint8_t hirt;
    Le16 cmmrtd;
    Le16 nmmrtd;
    uint8_t minmrtg;
    uint8_t maxmrtg;
    uint8_t trattr;
    ByteArray<191> reserved577;
    ByteArray<256> subnqn;
    ByteArray<768> reserved1024;
    Le32 ioccsz;
    Le32 iorcsz;
    Le16 icdoff;
    uint8_t fcatt;
    uint8_t msdbd;
    Le16 ofcs;
    ByteArray<242> reserved1806;
    PowerStateDescriptor psd[32];
    ByteArray<1024> reserved3072;
};
static_assert(sizeof(IdentifyController) == 4096 && alignof(IdentifyController) == 1);
static_assert(offsetof(IdentifyController, cntrltype) == 111 && offsetof(IdentifyController, nvmsr) == 253);
static_assert(offsetof(IdentifyController, megcap) == 368 && offsetof(IdentifyController, sqes) == 512);
static_assert(offsetof(IdentifyController, subnqn) == 768 && offsetof(IdentifyController, ioccsz) == 1792);
static_assert(offsetof(IdentifyController, bpcap) == 102 && offsetof(IdentifyController, plsi) == 110);
static_assert(offsetof(IdentifyController, cirn) == 136 && offsetof(IdentifyController, mptfawr) == 360);
static_assert(offsetof(IdentifyController, msmt) == 394 && offsetof(IdentifyController, oaqd) == 564);
static_assert(offsetof(IdentifyController, trattr) == 576 && offsetof(IdentifyController, psd) == 2048);

}  // namespace features::nvme
