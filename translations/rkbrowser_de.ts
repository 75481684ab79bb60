<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>FolderModel</name>
    <message>
        <source>Reading…</source>
        <translation>Wird gelesen …</translation>
    </message>
    <message>
        <source>No file passes the filters.</source>
        <translation>Keine Datei entspricht den Filtern.</translation>
    </message>
    <message>
        <source>No pictures or videos here.</source>
        <translation>Hier sind weder Bilder noch Videos.</translation>
    </message>
</context>
<context>
    <name>FolderReading</name>
    <message>
        <source>%1 is not a file.</source>
        <translation>%1 ist keine Datei.</translation>
    </message>
    <message>
        <source>%1 can&apos;t be copied: %2</source>
        <translation>%1 lässt sich nicht kopieren: %2</translation>
    </message>
    <message>
        <source>There is no such folder.</source>
        <translation>Diesen Ordner gibt es nicht.</translation>
    </message>
    <message>
        <source>The folder may not be read.</source>
        <translation>Der Ordner darf nicht gelesen werden.</translation>
    </message>
</context>
<context>
    <name>FolderTree</name>
    <message>
        <source>Folders</source>
        <translation>Ordner</translation>
    </message>
</context>
<context>
    <name>FolderView</name>
    <message>
        <source>Files</source>
        <translation>Dateien</translation>
    </message>
</context>
<context>
    <name>InformationPanel</name>
    <message>
        <source>Not saved: %1</source>
        <translation>Nicht gespeichert: %1</translation>
    </message>
    <message>
        <source>such as 2021-07-04 12:30 +02:00</source>
        <translation>wie 2021-07-04 12:30 +02:00</translation>
    </message>
    <message>
        <source>such as 48.858222, 2.2945</source>
        <translation>wie 48.858222, 2.2945</translation>
    </message>
    <message>
        <source>Not saved: %1 is a text %2</source>
        <translation>Nicht gespeichert: %1 ist ein Text %2</translation>
    </message>
    <message>
        <source>A click removes a keyword</source>
        <translation>Ein Klick entfernt ein Stichwort</translation>
    </message>
    <message>
        <source>Add a keyword</source>
        <translation>Stichwort hinzufügen</translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <translation>%1 von %2</translation>
    </message>
    <message>
        <source>Keywords of %1</source>
        <translation>Stichwörter von %1</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Folders</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Information</source>
        <translation>Informationen</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Open folder…</source>
        <translation>Ordner ö&amp;ffnen …</translation>
    </message>
    <message>
        <source>Open folder</source>
        <translation>Ordner öffnen</translation>
    </message>
    <message>
        <source>Folder &amp;above</source>
        <translation>Über&amp;geordneter Ordner</translation>
    </message>
    <message>
        <source>Type a &amp;path</source>
        <translation>&amp;Pfad eingeben</translation>
    </message>
    <message>
        <source>&amp;Read the folder again</source>
        <translation>Ordner neu &amp;lesen</translation>
    </message>
    <message>
        <source>&amp;Keys</source>
        <translation>&amp;Tasten</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>No stars</source>
        <translation>Keine Sterne</translation>
    </message>
    <message>
        <source>Turn &amp;right</source>
        <translation>Nach &amp;rechts drehen</translation>
    </message>
    <message>
        <source>Turn &amp;left</source>
        <translation>Nach &amp;links drehen</translation>
    </message>
    <message>
        <source>&amp;Copy files</source>
        <translation>Dateien &amp;kopieren</translation>
    </message>
    <message>
        <source>&amp;Paste files</source>
        <translation>Dateien &amp;einfügen</translation>
    </message>
    <message>
        <source>Select &amp;all</source>
        <translation>&amp;Alles auswählen</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Ansicht</translation>
    </message>
    <message>
        <source>&amp;Show the file</source>
        <translation>Datei an&amp;zeigen</translation>
    </message>
    <message>
        <source>&amp;Print clip…</source>
        <translation>&amp;Druckausschnitt …</translation>
    </message>
    <message>
        <source>&amp;Back to the folder</source>
        <translation>&amp;Zurück zum Ordner</translation>
    </message>
    <message>
        <source>&amp;Next file</source>
        <translation>&amp;Nächste Datei</translation>
    </message>
    <message>
        <source>P&amp;revious file</source>
        <translation>&amp;Vorige Datei</translation>
    </message>
    <message>
        <source>&amp;Larger</source>
        <translation>&amp;Größer</translation>
    </message>
    <message>
        <source>S&amp;maller</source>
        <translation>&amp;Kleiner</translation>
    </message>
    <message>
        <source>&amp;Fit into the window</source>
        <translation>Ins &amp;Fenster einpassen</translation>
    </message>
    <message>
        <source>&amp;Actual size</source>
        <translation>&amp;Originalgröße</translation>
    </message>
    <message>
        <source>Move left</source>
        <translation>Nach links schieben</translation>
    </message>
    <message>
        <source>Move right</source>
        <translation>Nach rechts schieben</translation>
    </message>
    <message>
        <source>Move up</source>
        <translation>Nach oben schieben</translation>
    </message>
    <message>
        <source>Move down</source>
        <translation>Nach unten schieben</translation>
    </message>
    <message>
        <source>F&amp;aces</source>
        <translation>G&amp;esichter</translation>
    </message>
    <message>
        <source>&amp;Histogram</source>
        <translation>&amp;Histogramm</translation>
    </message>
    <message>
        <source>Before the &amp;conversion of colours</source>
        <translation>Vor der &amp;Umrechnung der Farben</translation>
    </message>
    <message>
        <source>F&amp;ull screen</source>
        <translation>Voll&amp;bild</translation>
    </message>
    <message>
        <source>Folder</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Path of the folder</source>
        <translation>Pfad des Ordners</translation>
    </message>
    <message>
        <source>Part of the name</source>
        <translation>Teil des Namens</translation>
    </message>
    <message>
        <source>Sorted by</source>
        <translation>Sortiert nach</translation>
    </message>
    <message>
        <source>By name</source>
        <translation>Nach Name</translation>
    </message>
    <message>
        <source>By date</source>
        <translation>Nach Datum</translation>
    </message>
    <message>
        <source>By rating</source>
        <translation>Nach Bewertung</translation>
    </message>
    <message>
        <source>By kind</source>
        <translation>Nach Art</translation>
    </message>
    <message>
        <source>Direction</source>
        <translation>Richtung</translation>
    </message>
    <message>
        <source>Ascending</source>
        <translation>Aufsteigend</translation>
    </message>
    <message>
        <source>Descending</source>
        <translation>Absteigend</translation>
    </message>
    <message>
        <source>Any rating</source>
        <translation>Jede Bewertung</translation>
    </message>
    <message>
        <source>At least</source>
        <translation>Mindestens</translation>
    </message>
    <message>
        <source>Kind</source>
        <translation>Art</translation>
    </message>
    <message>
        <source>All kinds</source>
        <translation>Alle Arten</translation>
    </message>
    <message>
        <source>Pictures</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>Raw</source>
        <translation>Rohdaten</translation>
    </message>
    <message>
        <source>Drawings</source>
        <translation>Zeichnungen</translation>
    </message>
    <message>
        <source>Videos</source>
        <translation>Videos</translation>
    </message>
    <message>
        <source>People</source>
        <translation>Personen</translation>
    </message>
    <message>
        <source>Files: %1</source>
        <translation>Dateien: %1</translation>
    </message>
    <message>
        <source>Files: %1 of %2</source>
        <translation>Dateien: %1 von %2</translation>
    </message>
    <message>
        <source>%1 — %2 × %3 pixels, %4 %</source>
        <translation>%1 — %2 × %3 Pixel, %4 %</translation>
    </message>
    <message>
        <source>Selected: %1</source>
        <translation>Ausgewählt: %1</translation>
    </message>
    <message>
        <source>Not done</source>
        <translation>Nicht erledigt</translation>
    </message>
    <message>
        <source>&amp;Undo %1</source>
        <translation>%1 &amp;rückgängig machen</translation>
    </message>
    <message>
        <source>R&amp;edo %1</source>
        <translation>%1 &amp;wiederherstellen</translation>
    </message>
</context>
<context>
    <name>PictureStore</name>
    <message>
        <source>There is nothing to see.</source>
        <translation>Es ist nichts zu sehen.</translation>
    </message>
</context>
<context>
    <name>PictureView</name>
    <message>
        <source>Picture</source>
        <translation>Bild</translation>
    </message>
    <message>
        <source>Loading…</source>
        <translation>Wird geladen …</translation>
    </message>
    <message>
        <source>The picture has no colour profile: nothing was converted.</source>
        <translation>Das Bild hat kein Farbprofil: nichts wurde umgerechnet.</translation>
    </message>
    <message>
        <source>Before the conversion of colours</source>
        <translation>Vor der Umrechnung der Farben</translation>
    </message>
    <message>
        <source>Before | after the conversion of colours</source>
        <translation>Vor | nach der Umrechnung der Farben</translation>
    </message>
</context>
<context>
    <name>PrintView</name>
    <message>
        <source> mm</source>
        <translation> mm</translation>
    </message>
    <message>
        <source>Portrait</source>
        <translation>Hochformat</translation>
    </message>
    <message>
        <source>Export…</source>
        <translation>Exportieren …</translation>
    </message>
    <message>
        <source>Free</source>
        <translation>Frei</translation>
    </message>
    <message>
        <source>As the picture</source>
        <translation>Wie das Bild</translation>
    </message>
    <message>
        <source>3 : 2</source>
        <translation>3 : 2</translation>
    </message>
    <message>
        <source>4 : 3</source>
        <translation>4 : 3</translation>
    </message>
    <message>
        <source>5 : 4</source>
        <translation>5 : 4</translation>
    </message>
    <message>
        <source>16 : 9</source>
        <translation>16 : 9</translation>
    </message>
    <message>
        <source>Square</source>
        <translation>Quadrat</translation>
    </message>
    <message>
        <source>A4, A5 …</source>
        <translation>A4, A5 …</translation>
    </message>
    <message>
        <source> dpi</source>
        <translation> dpi</translation>
    </message>
    <message>
        <source>&amp;Form</source>
        <translation>&amp;Form</translation>
    </message>
    <message>
        <source>&amp;Width</source>
        <translation>&amp;Breite</translation>
    </message>
    <message>
        <source>&amp;Height</source>
        <translation>&amp;Höhe</translation>
    </message>
    <message>
        <source>&amp;Resolution</source>
        <translation>&amp;Auflösung</translation>
    </message>
    <message>
        <source>Pixels</source>
        <translation>Pixel</translation>
    </message>
    <message>
        <source>Too few pixels: the print gets %1 dpi. Print at most %2 mm wide, or take a larger part.</source>
        <translation>Zu wenige Pixel: der Druck erreicht %1 dpi. Drucken Sie höchstens %2 mm breit, oder nehmen Sie einen größeren Ausschnitt.</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Pictures (*.jpg *.png *.tif)</source>
        <translation>Bilder (*.jpg *.png *.tif)</translation>
    </message>
    <message>
        <source>A part does not replace its picture.</source>
        <translation>Ein Ausschnitt ersetzt sein Bild nicht.</translation>
    </message>
    <message>
        <source>Part of the picture that is printed</source>
        <translation>Ausschnitt des Bildes, der gedruckt wird</translation>
    </message>
    <message>
        <source>To the left</source>
        <translation>Nach links</translation>
    </message>
    <message>
        <source>To the right</source>
        <translation>Nach rechts</translation>
    </message>
    <message>
        <source>Up</source>
        <translation>Nach oben</translation>
    </message>
    <message>
        <source>Down</source>
        <translation>Nach unten</translation>
    </message>
    <message>
        <source>Narrower</source>
        <translation>Schmaler</translation>
    </message>
    <message>
        <source>Wider</source>
        <translation>Breiter</translation>
    </message>
    <message>
        <source>A pixel to the left</source>
        <translation>Ein Pixel nach links</translation>
    </message>
    <message>
        <source>A pixel to the right</source>
        <translation>Ein Pixel nach rechts</translation>
    </message>
    <message>
        <source>A pixel up</source>
        <translation>Ein Pixel nach oben</translation>
    </message>
    <message>
        <source>A pixel down</source>
        <translation>Ein Pixel nach unten</translation>
    </message>
</context>
<context>
    <name>QMainWindow</name>
    <message>
        <source>Keys</source>
        <translation>Tasten</translation>
    </message>
</context>
<context>
    <name>VideoView</name>
    <message>
        <source>Frame</source>
        <translation>Einzelbild</translation>
    </message>
    <message>
        <source>Save still…</source>
        <translation>Standbild speichern …</translation>
    </message>
    <message>
        <source>Save the shown frame as a picture</source>
        <translation>Das gezeigte Einzelbild als Bild speichern</translation>
    </message>
    <message>
        <source>%1   frame %2 of %3</source>
        <translation>%1   Bild %2 von %3</translation>
    </message>
    <message>
        <source>Save still</source>
        <translation>Standbild speichern</translation>
    </message>
    <message>
        <source>Pictures (*.png *.jpg)</source>
        <translation>Bilder (*.png *.jpg)</translation>
    </message>
    <message>
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message>
        <source>Next frame</source>
        <translation>Nächstes Einzelbild</translation>
    </message>
    <message>
        <source>Previous frame</source>
        <translation>Voriges Einzelbild</translation>
    </message>
    <message>
        <source>A second on</source>
        <translation>Eine Sekunde vor</translation>
    </message>
    <message>
        <source>A second back</source>
        <translation>Eine Sekunde zurück</translation>
    </message>
    <message>
        <source>First frame</source>
        <translation>Erstes Einzelbild</translation>
    </message>
    <message>
        <source>Last frame</source>
        <translation>Letztes Einzelbild</translation>
    </message>
</context>
</TS>
