<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>RKMediaCard</name>
    <message>
        <source>File</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Größe</translation>
    </message>
    <message>
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message>
        <source>Taken</source>
        <translation>Aufgenommen</translation>
    </message>
    <message>
        <source>Place</source>
        <translation>Ort</translation>
    </message>
    <message>
        <source>Position</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>Camera</source>
        <translation>Kamera</translation>
    </message>
    <message>
        <source>Lens</source>
        <translation>Objektiv</translation>
    </message>
    <message>
        <source>Exposure</source>
        <translation>Belichtung</translation>
    </message>
    <message>
        <source>Focal length</source>
        <translation>Brennweite</translation>
    </message>
    <message>
        <source>Rating</source>
        <translation>Bewertung</translation>
    </message>
    <message>
        <source>Title</source>
        <translation>Titel</translation>
    </message>
    <message>
        <source>Description</source>
        <translation>Beschreibung</translation>
    </message>
    <message>
        <source>Comment</source>
        <translation>Kommentar</translation>
    </message>
    <message>
        <source>Keywords</source>
        <translation>Stichwörter</translation>
    </message>
    <message>
        <source>Faces</source>
        <translation>Gesichter</translation>
    </message>
    <message>
        <source>Author</source>
        <translation>Autor</translation>
    </message>
    <message>
        <source>Copyright</source>
        <translation>Copyright</translation>
    </message>
    <message>
        <source>Colours</source>
        <translation>Farben</translation>
    </message>
    <message>
        <source>Thumbnail</source>
        <translation>Vorschaubild</translation>
    </message>
    <message>
        <source>Software</source>
        <translation>Software</translation>
    </message>
    <message>
        <source>rejected</source>
        <translation>aussortiert</translation>
    </message>
    <message>
        <source>%1 without a name</source>
        <translation>%1 ohne Namen</translation>
    </message>
    <message>
        <source>unnamed profile</source>
        <translation>Profil ohne Namen</translation>
    </message>
    <message>
        <source>%1 pixels</source>
        <translation>%1 Bildpunkte</translation>
    </message>
    <message>
        <source>%1 megapixels</source>
        <translation>%1 Megapixel</translation>
    </message>
    <message>
        <source>turned by orientation %1</source>
        <translation>gedreht nach Orientierung %1</translation>
    </message>
    <message>
        <source>%1 fps</source>
        <translation>%1 Bilder/s</translation>
    </message>
    <message>
        <source>° S</source>
        <translation>° S</translation>
    </message>
    <message>
        <source>° N</source>
        <translation>° N</translation>
    </message>
    <message>
        <source>° W</source>
        <translation>° W</translation>
    </message>
    <message>
        <source>° E</source>
        <translation>° O</translation>
    </message>
    <message>
        <source>%1 m</source>
        <translation>%1 m</translation>
    </message>
    <message>
        <source>ISO %1</source>
        <translation>ISO %1</translation>
    </message>
    <message>
        <source>%1 EV</source>
        <translation>%1 EV</translation>
    </message>
    <message>
        <source>flash</source>
        <translation>Blitz</translation>
    </message>
    <message>
        <source>%1 mm</source>
        <translation>%1 mm</translation>
    </message>
    <message>
        <source>as %1 mm on 35 mm film</source>
        <translation>wie %1 mm bei Kleinbild</translation>
    </message>
    <message>
        <source>1/%1 s</source>
        <translation>1/%1 s</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
    <message>
        <source>%1 kbit/s</source>
        <translation>%1 kbit/s</translation>
    </message>
    <message>
        <source>%1 Mbit/s</source>
        <translation>%1 Mbit/s</translation>
    </message>
</context>
<context>
    <name>RKMediaError</name>
    <message>
        <source>%1x%2 pixels are too thin for a picture.</source>
        <translation>%1x%2 Bildpunkte sind zu schmal für ein Bild.</translation>
    </message>
    <message>
        <source>%1x%2 pixels are too small for a picture.</source>
        <translation>%1x%2 Bildpunkte sind zu wenig für ein Bild.</translation>
    </message>
    <message>
        <source>There is no decoder for HEIC that is coded as %1.</source>
        <translation>Für HEIC mit der Codierung %1 gibt es keinen Decoder.</translation>
    </message>
    <message>
        <source>The header promises more pixels than the file can hold.</source>
        <translation>Der Kopf der Datei verspricht mehr Bildpunkte, als sie enthalten kann.</translation>
    </message>
    <message>
        <source>There is no picture to save.</source>
        <translation>Es gibt kein Bild zu speichern.</translation>
    </message>
    <message>
        <source>A picture of %1x%2 pixels can&apos;t be written in this format.</source>
        <translation>Ein Bild mit %1x%2 Bildpunkten kann in diesem Format nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>The picture is refused: it has too many segments.</source>
        <translation>Das Bild wird abgelehnt: Es hat zu viele Segmente.</translation>
    </message>
    <message>
        <source>The drawing is refused: %1.</source>
        <translation>Die Zeichnung wird abgelehnt: %1.</translation>
    </message>
    <message>
        <source>The drawing has no size.</source>
        <translation>Die Zeichnung hat keine Größe.</translation>
    </message>
    <message>
        <source>The drawing is too large or takes too long to paint.</source>
        <translation>Die Zeichnung ist zu groß, oder es dauert zu lange, sie zu malen.</translation>
    </message>
    <message>
        <source>The size that was asked for is too large.</source>
        <translation>Die verlangte Größe ist zu groß.</translation>
    </message>
    <message>
        <source>Making the picture smaller takes too much memory or time.</source>
        <translation>Das Bild zu verkleinern braucht zu viel Speicher oder Zeit.</translation>
    </message>
    <message>
        <source>The header promises %1x%2 pixels, more than the file can hold.</source>
        <translation>Der Kopf der Datei verspricht %1x%2 Bildpunkte, mehr, als sie enthalten kann.</translation>
    </message>
    <message>
        <source>There is no decoder for %1.</source>
        <translation>Für %1 gibt es keinen Decoder.</translation>
    </message>
    <message>
        <source>The content is %1, name says %2.</source>
        <translation>Der Inhalt ist %1, der Name sagt %2.</translation>
    </message>
    <message>
        <source>The format is not supported: the name has no suffix.</source>
        <translation>Das Format wird nicht unterstützt: Der Name hat keine Endung.</translation>
    </message>
    <message>
        <source>The format is not supported: nothing is known of the suffix %1.</source>
        <translation>Das Format wird nicht unterstützt: Die Endung %1 ist nicht bekannt.</translation>
    </message>
    <message>
        <source>The file is empty.</source>
        <translation>Die Datei ist leer.</translation>
    </message>
    <message>
        <source>Videos can&apos;t be written.</source>
        <translation>Videos können nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>This is a folder and not a file.</source>
        <translation>Das ist ein Ordner und keine Datei.</translation>
    </message>
    <message>
        <source>The file can&apos;t be read: %1.</source>
        <translation>Die Datei kann nicht gelesen werden: %1.</translation>
    </message>
    <message>
        <source>There is no folder %1 to save to.</source>
        <translation>Es gibt keinen Ordner %1, in den gespeichert werden kann.</translation>
    </message>
    <message>
        <source>The file can&apos;t be written: %1.</source>
        <translation>Die Datei kann nicht geschrieben werden: %1.</translation>
    </message>
    <message>
        <source>There is no such file.</source>
        <translation>Diese Datei gibt es nicht.</translation>
    </message>
    <message>
        <source>The file may not be read.</source>
        <translation>Die Datei darf nicht gelesen werden.</translation>
    </message>
    <message>
        <source>This is a pipe or a device and not a file.</source>
        <translation>Das ist eine Pipe oder ein Gerät und keine Datei.</translation>
    </message>
    <message>
        <source>The format of the file is not known.</source>
        <translation>Das Format der Datei ist nicht bekannt.</translation>
    </message>
    <message>
        <source>There is no decoder for this format.</source>
        <translation>Für dieses Format gibt es keinen Decoder.</translation>
    </message>
    <message>
        <source>This is no picture of that format, or a damaged one.</source>
        <translation>Das ist kein Bild dieses Formats, oder es ist beschädigt.</translation>
    </message>
    <message>
        <source>The file ends before its picture does.</source>
        <translation>Die Datei endet vor ihrem Bild.</translation>
    </message>
    <message>
        <source>The picture is too large.</source>
        <translation>Das Bild ist zu groß.</translation>
    </message>
    <message>
        <source>The picture is too small.</source>
        <translation>Das Bild ist zu klein.</translation>
    </message>
    <message>
        <source>The video has no such frame.</source>
        <translation>Das Video hat dieses Einzelbild nicht.</translation>
    </message>
    <message>
        <source>The file can&apos;t be read.</source>
        <translation>Die Datei kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>The disk is full.</source>
        <translation>Der Datenträger ist voll.</translation>
    </message>
    <message>
        <source>The file can&apos;t be written.</source>
        <translation>Die Datei kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>This format can&apos;t be written.</source>
        <translation>Dieses Format kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>Saving would lose some of the file&apos;s metadata.</source>
        <translation>Beim Speichern gingen Metadaten der Datei verloren.</translation>
    </message>
    <message>
        <source>Another program keeps changing the file.</source>
        <translation>Ein anderes Programm ändert die Datei immer wieder.</translation>
    </message>
    <message>
        <source>There is not enough memory.</source>
        <translation>Der Speicher reicht nicht.</translation>
    </message>
    <message>
        <source>The request was cancelled.</source>
        <translation>Die Anfrage wurde abgebrochen.</translation>
    </message>
    <message>
        <source>The file is damaged, or its metadata can&apos;t be read.</source>
        <translation>Die Datei ist beschädigt, oder ihre Metadaten sind nicht lesbar.</translation>
    </message>
    <message>
        <source>The XMP metadata have too many namespaces or properties.</source>
        <translation>Die XMP-Metadaten haben zu viele Namensräume oder Eigenschaften.</translation>
    </message>
    <message>
        <source>This format has no place for the metadata.</source>
        <translation>Dieses Format hat keinen Platz für die Metadaten.</translation>
    </message>
    <message>
        <source>Saving would lose some of the file&apos;s metadata: %1.</source>
        <translation>Beim Speichern gingen Metadaten der Datei verloren: %1.</translation>
    </message>
    <message>
        <source>The module for videos can&apos;t be loaded.</source>
        <translation>Das Modul für Videos kann nicht geladen werden.</translation>
    </message>
    <message>
        <source>The file has no video, only sound or data.</source>
        <translation>Die Datei enthält kein Video, nur Ton oder Daten.</translation>
    </message>
    <message>
        <source>There is no decoder for this video.</source>
        <translation>Für dieses Video gibt es keinen Decoder.</translation>
    </message>
    <message>
        <source>No frame of the video can be decoded.</source>
        <translation>Kein Einzelbild des Videos kann decodiert werden.</translation>
    </message>
    <message>
        <source>Frame %1 can&apos;t be decoded.</source>
        <translation>Einzelbild %1 kann nicht decodiert werden.</translation>
    </message>
    <message>
        <source>The video has no frame %1; its last one is %2.</source>
        <translation>Das Video hat kein Einzelbild %1; das letzte ist %2.</translation>
    </message>
</context>
<context>
    <name>RKMetaDataHistory</name>
    <message>
        <source>Rating of %1</source>
        <translation>Bewertung von %1</translation>
    </message>
    <message>
        <source>Rotation of %1</source>
        <translation>Drehung von %1</translation>
    </message>
    <message>
        <source>Another program has changed this in the file meanwhile.</source>
        <translation>Ein anderes Programm hat das in der Datei inzwischen geändert.</translation>
    </message>
</context>
</TS>
