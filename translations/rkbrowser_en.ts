<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name>FileFacts</name>
    <message numerus="yes">
        <source>%n without a name</source>
        <translation>
            <numerusform>%n without a name</numerusform>
            <numerusform>%n without a name</numerusform>
        </translation>
    </message>
</context>
</TS>
