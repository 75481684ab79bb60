<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="de">
<context>
    <name>RKExiv2Wrapper</name>
    <message>
        <source>%1 © 2004-2018 Andreas Huggel</source>
        <translation>%1 © 2004-2018 Andreas Huggel</translation>
    </message>
</context>
<context>
    <name>RKImageLoaderInfo</name>
    <message>
        <source>SampleICC © 2003-2010 The International Color Consortium. All rights reserved.</source>
        <translation>SampleICC © 2003-2010 The International Color Consortium. All rights reserved.</translation>
    </message>
    <message>
        <source>This software uses libraries from the FFmpeg project under the LGPLv2.1</source>
        <translation>This software uses libraries from the FFmpeg project under the LGPLv2.1</translation>
    </message>
</context>
<context>
    <name>RKMediaFormat</name>
    <message>
        <source>BMP - Windows Bitmap</source>
        <translation>BMP - Windows Bitmap</translation>
    </message>
    <message>
        <source>WebP</source>
        <translation>WebP</translation>
    </message>
    <message>
        <source>GIF - Graphics Interchange Format</source>
        <translation>GIF - Graphics Interchange Format</translation>
    </message>
    <message>
        <source>ICO - Windows Icon Datei</source>
        <translation>ICO - Windows icon file</translation>
    </message>
    <message>
        <source>JPEG - Joint Photographics Experts Group</source>
        <translation>JPEG - Joint Photographic Experts Group</translation>
    </message>
    <message>
        <source>PNG - Portable Network Graphics</source>
        <translation>PNG - Portable Network Graphics</translation>
    </message>
    <message>
        <source>TIFF - Tagged Image File Format</source>
        <translation>TIFF - Tagged Image File Format</translation>
    </message>
    <message>
        <source>SVG - Scalable Vector Graphics</source>
        <translation>SVG - Scalable Vector Graphics</translation>
    </message>
    <message>
        <source>HEIC - High Efficiency Image Coding</source>
        <translation>HEIC - High Efficiency Image Coding</translation>
    </message>
    <message>
        <source>%1-Format</source>
        <translation>%1 format</translation>
    </message>
    <message>
        <source>Bitmap</source>
        <translation>bitmap</translation>
    </message>
    <message>
        <source>Vektorformat</source>
        <translation>vector format</translation>
    </message>
    <message>
        <source>Video</source>
        <translation>video</translation>
    </message>
    <message>
        <source> mit binärer Transparenz</source>
        <translation> with binary transparency</translation>
    </message>
    <message>
        <source> mit Transparenzen</source>
        <translation> with transparency</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
</context>
<context>
    <name>RKVideoDecoderDummy</name>
    <message>
        <source>Video Datei:
%1

Frame Nummer:
%2</source>
        <translation>Video file:
%1

Frame number:
%2</translation>
    </message>
</context>
</TS>
