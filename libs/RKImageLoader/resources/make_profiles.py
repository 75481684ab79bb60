#!/usr/bin/env python3
"""Makes the two colour profiles beside it with Little CMS 2.

Both are display profiles of version 2.1. The values are those of IEC 61966-2-1 (sRGB) and of the
Adobe RGB (1998) Color Image Encoding, 2005-05, 4.2 and 4.3.
"""
import ctypes
import ctypes.util
import pathlib
import struct

lcms = ctypes.CDLL(ctypes.util.find_library("lcms2"))
for name in ("cmsCreateRGBProfile", "cmsBuildGamma", "cmsBuildTabulatedToneCurve16", "cmsMLUalloc"):
    getattr(lcms, name).restype = ctypes.c_void_p


class Chromaticity(ctypes.Structure):
    _fields_ = [("x", ctypes.c_double), ("y", ctypes.c_double), ("Y", ctypes.c_double)]


D65 = Chromaticity(0.3127, 0.3290, 1)
RED, BLUE = Chromaticity(0.64, 0.33, 1), Chromaticity(0.15, 0.06, 1)
SRGB_GREEN, ADOBE_GREEN = Chromaticity(0.30, 0.60, 1), Chromaticity(0.21, 0.71, 1)
DESCRIPTION, COPYRIGHT = 0x64657363, 0x63707274  # "desc", "cprt"
CREATED = struct.pack(">6H", 2026, 1, 1, 0, 0, 0)  # The same bytes with every run.
SRGB_ENTRIES = 1024


def srgb_curve():
    values = []
    for i in range(SRGB_ENTRIES):
        v = i / (SRGB_ENTRIES - 1)
        linear = v / 12.92 if v <= 0.04045 else ((v + 0.055) / 1.055) ** 2.4
        values.append(round(65535 * linear))
    table = (ctypes.c_uint16 * SRGB_ENTRIES)(*values)
    return lcms.cmsBuildTabulatedToneCurve16(None, SRGB_ENTRIES, table)


def add_text(profile, tag, text):
    texts = ctypes.c_void_p(lcms.cmsMLUalloc(None, 1))
    lcms.cmsMLUsetASCII(texts, b"en", b"US", text.encode("ascii"))
    lcms.cmsWriteTag(profile, tag, texts)


def write(name, description, green, curve):
    primaries = (Chromaticity * 3)(RED, green, BLUE)
    curves = (ctypes.c_void_p * 3)(curve, curve, curve)
    profile = ctypes.c_void_p(lcms.cmsCreateRGBProfile(ctypes.byref(D65), primaries, curves))
    lcms.cmsSetProfileVersion(profile, ctypes.c_double(2.1))
    add_text(profile, DESCRIPTION, description)
    add_text(profile, COPYRIGHT, "No copyright, use freely")
    size = ctypes.c_uint32(0)
    lcms.cmsSaveProfileToMem(profile, None, ctypes.byref(size))
    buffer = ctypes.create_string_buffer(size.value)
    lcms.cmsSaveProfileToMem(profile, buffer, ctypes.byref(size))
    icc = bytearray(buffer.raw)
    icc[24:36] = CREATED
    (pathlib.Path(__file__).parent / name).write_bytes(icc)


write("sRGB_Color_Space_Profile.icc", "sRGB IEC61966-2.1", SRGB_GREEN, srgb_curve())
write("compatibleWithAdobeRGB1998.icc", "Compatible with Adobe RGB (1998)", ADOBE_GREEN,
      lcms.cmsBuildGamma(None, ctypes.c_double(563 / 256)))
