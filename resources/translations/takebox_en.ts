<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<!-- The texts in the program are English; only those that are named by a key stand here. -->
<context>
    <name>CRecordingEvent</name>
    <message>
        <source>DaysString</source>
        <translation>SMTWTFS</translation>
    </message>
</context>
<context>
    <name>takebox::CDVDeviceWindowController</name>
    <message>
        <source>SelectFolder</source>
        <translation>Select a Folder</translation>
    </message>
</context>
<context>
    <name>takebox::TapedeckWindow</name>
    <message numerus="yes">
        <source>%n frame(s) lost</source>
        <translation>
            <numerusform>%n frame lost</numerusform>
            <numerusform>%n frames lost</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n problem(s)</source>
        <translation>
            <numerusform>%n problem</numerusform>
            <numerusform>%n problems</numerusform>
        </translation>
    </message>
</context>
</TS>
