<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>AboutPanel</name>
    <message>
        <source>About Takebox DV</source>
        <translation>Über Takebox DV</translation>
    </message>
    <message>
        <source>Version</source>
        <translation>Version</translation>
    </message>
    <message>
        <source>Records DV video over FireWire, frame by frame.</source>
        <translation>Nimmt DV-Video über FireWire auf, Bild für Bild.</translation>
    </message>
</context>
<context>
    <name>CDiskTimeFormatter</name>
    <message>
        <source>Couldn&apos;t convert to time</source>
        <translation>Das ist keine Zeitangabe</translation>
    </message>
</context>
<context>
    <name>CRecordingEvent</name>
    <message>
        <source>DaysString</source>
        <translation>SMDMDFS</translation>
    </message>
</context>
<context>
    <name>MainMenu</name>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>Scheduled &amp;Recordings…</source>
        <translation>Geplante &amp;Aufnahmen…</translation>
    </message>
    <message>
        <source>&amp;Preferences…</source>
        <translation>&amp;Einstellungen…</translation>
    </message>
    <message>
        <source>&amp;Close Window</source>
        <translation>Fenster s&amp;chließen</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation>&amp;Rückgängig</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>&amp;Wiederholen</translation>
    </message>
    <message>
        <source>Cu&amp;t</source>
        <translation>Aus&amp;schneiden</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Kopieren</translation>
    </message>
    <message>
        <source>&amp;Paste</source>
        <translation>E&amp;infügen</translation>
    </message>
    <message>
        <source>Select &amp;All</source>
        <translation>&amp;Alles auswählen</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>No Deck</source>
        <translation>Kein Gerät</translation>
    </message>
    <message>
        <source>&amp;Window</source>
        <translation>&amp;Fenster</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>&amp;About Takebox DV</source>
        <translation>&amp;Über Takebox DV</translation>
    </message>
    <message>
        <source>A&amp;ll Decks</source>
        <translation>All&amp;e Geräte</translation>
    </message>
</context>
<context>
    <name>NoDeviceWindow</name>
    <message>
        <source>Takebox DV</source>
        <translation>Takebox DV</translation>
    </message>
    <message>
        <source>No deck found</source>
        <translation>Kein Gerät gefunden</translation>
    </message>
    <message>
        <source>A deck appears here by itself as soon as it is found.</source>
        <translation>Ein Gerät erscheint von selbst, sobald es gefunden wird.</translation>
    </message>
    <message>
        <source>State of the FireWire socket</source>
        <translation>Zustand des FireWire-Anschlusses</translation>
    </message>
    <message>
        <source>&lt;ol style=&quot;margin-left: -16px&quot;&gt;&lt;li&gt;Connect the camcorder, deck or converter with a FireWire cable.&lt;/li&gt;&lt;li&gt;Switch it on, and set a camcorder to playback (VCR or VTR).&lt;/li&gt;&lt;li&gt;Close other programs that use it.&lt;/li&gt;&lt;/ol&gt;</source>
        <translation>&lt;ol style=&quot;margin-left: -16px&quot;&gt;&lt;li&gt;Verbinden Sie Camcorder, Recorder oder Wandler mit einem FireWire-Kabel.&lt;/li&gt;&lt;li&gt;Schalten Sie ihn ein, einen Camcorder auf Wiedergabe (VCR oder VTR).&lt;/li&gt;&lt;li&gt;Schließen Sie andere Programme, die ihn benutzen.&lt;/li&gt;&lt;/ol&gt;</translation>
    </message>
    <message>
        <source>No deck at hand? Start the program with a virtual one: &lt;br&gt;&lt;code&gt;takebox --virtual-deck pal&lt;/code&gt;</source>
        <translation>Kein Gerät zur Hand? Starten Sie das Programm mit einem virtuellen: &lt;br&gt;&lt;code&gt;takebox --virtual-deck pal&lt;/code&gt;</translation>
    </message>
</context>
<context>
    <name>Preferences</name>
    <message>
        <source>Preferences</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Recording</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>&amp;Erase existing files of the same name</source>
        <translation>Vorhandene Dateien gleichen Namens &amp;löschen</translation>
    </message>
    <message>
        <source>Off: a new recording gets a number after its name, and nothing is lost</source>
        <translation>Aus: Eine neue Aufnahme bekommt eine Nummer hinter den Namen, nichts geht verloren</translation>
    </message>
    <message>
        <source>&amp;Play and stop the tape with the recording</source>
        <translation>&amp;Band mit der Aufnahme starten und anhalten</translation>
    </message>
    <message>
        <source>The deck is put into play when a recording starts and stopped when it ends</source>
        <translation>Das Gerät geht mit dem Beginn der Aufnahme auf Wiedergabe und hält mit ihrem Ende an</translation>
    </message>
    <message>
        <source>Recording &amp;format:</source>
        <translation>Aufnahme&amp;format:</translation>
    </message>
    <message>
        <source>Kept for other programs that read it; recordings are DV as it comes from the deck</source>
        <translation>Für andere Programme aufbewahrt, die es lesen; aufgenommen wird DV, wie es vom Gerät kommt</translation>
    </message>
    <message>
        <source>Recording format</source>
        <translation>Aufnahmeformat</translation>
    </message>
    <message>
        <source>DV</source>
        <translation>DV</translation>
    </message>
    <message>
        <source>DVCPRO</source>
        <translation>DVCPRO</translation>
    </message>
    <message>
        <source>Scripts</source>
        <translation>Skripte</translation>
    </message>
    <message>
        <source>&amp;Run “Start Recording” after</source>
        <translation>„Start Recording“ ausfüh&amp;ren nach</translation>
    </message>
    <message>
        <source>The action of this name runs after a recording has started</source>
        <translation>Die Aktion dieses Namens läuft nach dem Beginn einer Aufnahme</translation>
    </message>
    <message>
        <source>Whole seconds between the start of the recording and the action</source>
        <translation>Ganze Sekunden zwischen dem Beginn der Aufnahme und der Aktion</translation>
    </message>
    <message>
        <source>Delay of “Start Recording” in seconds</source>
        <translation>Verzögerung von „Start Recording“ in Sekunden</translation>
    </message>
    <message>
        <source>seconds</source>
        <translation>Sekunden</translation>
    </message>
    <message>
        <source>R&amp;un “Stop Recording” after</source>
        <translation>„Stop Recording“ ausf&amp;ühren nach</translation>
    </message>
    <message>
        <source>Kept with the preferences; no action runs when a recording stops</source>
        <translation>Wird nur aufbewahrt; am Ende einer Aufnahme läuft keine Aktion</translation>
    </message>
    <message>
        <source>Delay of “Stop Recording” in seconds</source>
        <translation>Verzögerung von „Stop Recording“ in Sekunden</translation>
    </message>
    <message>
        <source>Playout systems</source>
        <translation>Ausspielsysteme</translation>
    </message>
    <message>
        <source>&amp;Switch these playout systems when a recording starts</source>
        <translation>Diese Ausspielsysteme zu Beginn einer Aufnahme um&amp;schalten</translation>
    </message>
    <message>
        <source>Each of them is told over the network</source>
        <translation>Jedes wird über das Netz benachrichtigt</translation>
    </message>
    <message>
        <source>Host names or addresses; double-click one to change it</source>
        <translation>Rechnernamen oder Adressen; zum Ändern doppelt klicken</translation>
    </message>
    <message>
        <source>Addresses of the playout systems</source>
        <translation>Adressen der Ausspielsysteme</translation>
    </message>
    <message>
        <source>&amp;Add</source>
        <translation>&amp;Hinzufügen</translation>
    </message>
    <message>
        <source>Add an address; it is kept once you have edited it</source>
        <translation>Eine Adresse hinzufügen; sie bleibt erhalten, sobald Sie sie geändert haben</translation>
    </message>
    <message>
        <source>Add a playout system</source>
        <translation>Ausspielsystem hinzufügen</translation>
    </message>
    <message>
        <source>&amp;Delete</source>
        <translation>&amp;Entfernen</translation>
    </message>
    <message>
        <source>Delete the selected address</source>
        <translation>Die gewählte Adresse entfernen</translation>
    </message>
    <message>
        <source>Delete the selected playout system</source>
        <translation>Das gewählte Ausspielsystem entfernen</translation>
    </message>
</context>
<context>
    <name>QObject</name>
    <message>
        <source>frames of a wrong size: %1</source>
        <translation>Bilder falscher Größe: %1</translation>
    </message>
    <message>
        <source>frames missing in the raw files: %1</source>
        <translation>Bilder, die in den Rohdateien fehlen: %1</translation>
    </message>
    <message>
        <source>frames missing in the self-contained movie: %1</source>
        <translation>Bilder, die im eigenständigen Film fehlen: %1</translation>
    </message>
    <message>
        <source>frames missing in all files: %1</source>
        <translation>Bilder, die in allen Dateien fehlen: %1</translation>
    </message>
    <message>
        <source>and %1 more</source>
        <translation>und %1 weitere</translation>
    </message>
    <message>
        <source>The disk is running full.</source>
        <translation>Der Datenträger wird voll.</translation>
    </message>
    <message>
        <source>%1: %2 minutes of recording are left. The preset time is %3.</source>
        <translation>%1: Es bleiben %2 Minuten Aufnahme. Eingestellt sind %3.</translation>
    </message>
    <message>
        <source>the disk has no room for the new movie: it takes %1. The original is as it was</source>
        <translation>Auf dem Datenträger ist kein Platz für den neuen Film: Er braucht %1. Das Original ist unverändert</translation>
    </message>
    <message>
        <source>cancelled; the original is as it was</source>
        <translation>abgebrochen; das Original ist unverändert</translation>
    </message>
    <message>
        <source>%1 holds not a single whole frame</source>
        <translation>%1 enthält kein einziges ganzes Bild</translation>
    </message>
    <message>
        <source>the new movie is not as it was written; the original is as it was</source>
        <translation>Der neue Film ist nicht so, wie er geschrieben wurde; das Original ist unverändert</translation>
    </message>
    <message>
        <source>%1 recovered: %2 frames (%3 s). The original is kept as %4</source>
        <translation>%1 wiederhergestellt: %2 Bilder (%3 s). Das Original heißt jetzt %4</translation>
    </message>
    <message>
        <source>%1 cannot be read: %2</source>
        <translation>%1 kann nicht gelesen werden: %2</translation>
    </message>
    <message>
        <source>the disk is full; make room and try again. The original is as it was</source>
        <translation>Der Datenträger ist voll; schaffen Sie Platz und versuchen Sie es noch einmal. Das Original ist unverändert</translation>
    </message>
    <message>
        <source>the new movie cannot be written: %1. The original is as it was</source>
        <translation>Der neue Film kann nicht geschrieben werden: %1. Das Original ist unverändert</translation>
    </message>
    <message>
        <source>%1 is being recorded; stop the recording first</source>
        <translation>%1 wird gerade aufgenommen; beenden Sie zuerst die Aufnahme</translation>
    </message>
    <message>
        <source>%1 is complete; there is nothing to do</source>
        <translation>%1 ist vollständig; es ist nichts zu tun</translation>
    </message>
    <message>
        <source>%1 is no movie of this program</source>
        <translation>%1 ist kein Film dieses Programms</translation>
    </message>
    <message>
        <source>%1 fits its raw files; there is nothing to do</source>
        <translation>%1 passt zu seinen Rohdateien; es ist nichts zu tun</translation>
    </message>
    <message>
        <source>the raw files of %1 hold not a single whole frame</source>
        <translation>Die Rohdateien von %1 enthalten kein einziges ganzes Bild</translation>
    </message>
    <message>
        <source>%1 fits its raw files now: %2 frames. The original is kept as %3</source>
        <translation>%1 passt jetzt zu seinen Rohdateien: %2 Bilder. Das Original heißt jetzt %3</translation>
    </message>
    <message>
        <source>frames that did not arrive: %1</source>
        <translation>nicht angekommene Bilder: %1</translation>
    </message>
    <message>
        <source>problems on the way from the deck: %1</source>
        <translation>Störungen auf dem Weg vom Deck: %1</translation>
    </message>
    <message>
        <source>the recording cannot be read: %1</source>
        <translation>Die Aufnahme kann nicht gelesen werden: %1</translation>
    </message>
</context>
<context>
    <name>ScheduleOverview</name>
    <message>
        <source>today</source>
        <translation>heute</translation>
    </message>
    <message>
        <source>tomorrow</source>
        <translation>morgen</translation>
    </message>
    <message>
        <source>automatic name</source>
        <translation>automatischer Name</translation>
    </message>
    <message>
        <source>%1 d</source>
        <translation>%1 T</translation>
    </message>
    <message>
        <source>%1 h</source>
        <translation>%1 Std.</translation>
    </message>
    <message>
        <source>%1 min</source>
        <translation>%1 Min.</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
    <message>
        <source>now</source>
        <translation>jetzt</translation>
    </message>
    <message>
        <source>Recording &quot;%1&quot; until %2</source>
        <translation>Aufnahme „%1“ bis %2</translation>
    </message>
    <message>
        <source>No further recording is scheduled</source>
        <translation>Keine weitere Aufnahme geplant</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is due and waits for the device</source>
        <translation>„%1“ ist fällig und wartet auf das Gerät</translation>
    </message>
    <message>
        <source>Next: &quot;%1&quot; %2 at %3, in %4</source>
        <translation>Als Nächstes: „%1“ %2 um %3, in %4</translation>
    </message>
</context>
<context>
    <name>Scheduling</name>
    <message>
        <source>Scheduled Recordings</source>
        <translation>Geplante Aufnahmen</translation>
    </message>
    <message>
        <source>Scheduled recordings</source>
        <translation>Geplante Aufnahmen</translation>
    </message>
    <message>
        <source>Notice</source>
        <translation>Hinweis</translation>
    </message>
    <message>
        <source>&amp;Add…</source>
        <translation>&amp;Hinzufügen…</translation>
    </message>
    <message>
        <source>Schedules a new recording (Ctrl+N)</source>
        <translation>Plant eine neue Aufnahme (Strg+N)</translation>
    </message>
    <message>
        <source>&amp;Edit…</source>
        <translation>&amp;Bearbeiten…</translation>
    </message>
    <message>
        <source>Changes the selected recording (Return)</source>
        <translation>Ändert die gewählte Aufnahme (Eingabetaste)</translation>
    </message>
    <message>
        <source>&amp;Delete</source>
        <translation>&amp;Entfernen</translation>
    </message>
    <message>
        <source>Removes the selected recording from the schedule (Delete). One that is running goes on to its planned end.</source>
        <translation>Entfernt die gewählte Aufnahme aus dem Plan (Entf). Eine laufende geht bis zu ihrem geplanten Ende weiter.</translation>
    </message>
    <message>
        <source>&amp;Undo Delete</source>
        <translation>Entfernen &amp;zurücknehmen</translation>
    </message>
    <message>
        <source>Puts the recording that was deleted last back into the schedule (Ctrl+Z)</source>
        <translation>Nimmt die zuletzt entfernte Aufnahme wieder in den Plan auf (Strg+Z)</translation>
    </message>
    <message>
        <source>&amp;Close</source>
        <translation>S&amp;chließen</translation>
    </message>
    <message>
        <source>Closes this window; the schedule goes on (Ctrl+W)</source>
        <translation>Schließt dieses Fenster; der Plan läuft weiter (Strg+W)</translation>
    </message>
</context>
<context>
    <name>SchedulingEvent</name>
    <message>
        <source>Scheduled Recording</source>
        <translation>Geplante Aufnahme</translation>
    </message>
    <message>
        <source>&amp;Device:</source>
        <translation>&amp;Gerät:</translation>
    </message>
    <message>
        <source>Device</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>The device to record from; only connected devices are listed</source>
        <translation>Das Gerät, das aufgenommen wird; nur angeschlossene stehen zur Wahl</translation>
    </message>
    <message>
        <source>&amp;Name:</source>
        <translation>&amp;Name:</translation>
    </message>
    <message>
        <source>Recording name</source>
        <translation>Name der Aufnahme</translation>
    </message>
    <message>
        <source>The name of the files, without extension</source>
        <translation>Der Name der Dateien, ohne Endung</translation>
    </message>
    <message>
        <source>A&amp;utomatic</source>
        <translation>A&amp;utomatisch</translation>
    </message>
    <message>
        <source>Automatic name</source>
        <translation>Automatischer Name</translation>
    </message>
    <message>
        <source>Names the files by the date and time of their start</source>
        <translation>Benennt die Dateien nach Datum und Uhrzeit ihres Beginns</translation>
    </message>
    <message>
        <source>On which days</source>
        <translation>An welchen Tagen</translation>
    </message>
    <message>
        <source>Sin&amp;gle Date</source>
        <translation>Ein&amp;malig</translation>
    </message>
    <message>
        <source>Da&amp;te:</source>
        <translation>Da&amp;tum:</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>Datum</translation>
    </message>
    <message>
        <source>E&amp;very Week</source>
        <translation>&amp;Wöchentlich</translation>
    </message>
    <message>
        <source>&amp;Start:</source>
        <translation>&amp;Beginn:</translation>
    </message>
    <message>
        <source>Start time</source>
        <translation>Beginn</translation>
    </message>
    <message>
        <source>Time of day at which the recording starts</source>
        <translation>Uhrzeit, zu der die Aufnahme beginnt</translation>
    </message>
    <message>
        <source>Durat&amp;ion:</source>
        <translation>Daue&amp;r:</translation>
    </message>
    <message>
        <source>Duration</source>
        <translation>Dauer</translation>
    </message>
    <message>
        <source>Hours, minutes and seconds; less than a day. Moves the end.</source>
        <translation>Stunden, Minuten und Sekunden; weniger als ein Tag. Verschiebt das Ende.</translation>
    </message>
    <message>
        <source>&amp;End:</source>
        <translation>&amp;Ende:</translation>
    </message>
    <message>
        <source>End time</source>
        <translation>Ende</translation>
    </message>
    <message>
        <source>Time of day at which the recording ends; before the start means on the next day. Changes the duration.</source>
        <translation>Uhrzeit, zu der die Aufnahme endet; vor dem Beginn heißt am nächsten Tag. Ändert die Dauer.</translation>
    </message>
    <message>
        <source>&amp;Reference movie</source>
        <translation>Re&amp;ferenzfilm</translation>
    </message>
    <message>
        <source>Records the raw streams and a movie that refers to them</source>
        <translation>Nimmt die Rohdateien auf und einen Film, der auf sie verweist</translation>
    </message>
    <message>
        <source>Self-&amp;contained movie</source>
        <translation>Eigen&amp;ständiger Film</translation>
    </message>
    <message>
        <source>Records a movie that holds its own video and audio</source>
        <translation>Nimmt einen Film auf, der Bild und Ton selbst enthält</translation>
    </message>
    <message>
        <source>Re&amp;ference movies:</source>
        <translation>Referen&amp;zfilme:</translation>
    </message>
    <message>
        <source>Folder for reference movies</source>
        <translation>Ordner der Referenzfilme</translation>
    </message>
    <message>
        <source>Where the reference movie is written</source>
        <translation>Wohin der Referenzfilm geschrieben wird</translation>
    </message>
    <message>
        <source>Choose…</source>
        <translation>Wählen…</translation>
    </message>
    <message>
        <source>Choose the folder for reference movies</source>
        <translation>Den Ordner der Referenzfilme wählen</translation>
    </message>
    <message>
        <source>Self-contained &amp;movies:</source>
        <translation>Eigenständige Fi&amp;lme:</translation>
    </message>
    <message>
        <source>Folder for self-contained movies</source>
        <translation>Ordner der eigenständigen Filme</translation>
    </message>
    <message>
        <source>Where the self-contained movie is written</source>
        <translation>Wohin der eigenständige Film geschrieben wird</translation>
    </message>
    <message>
        <source>Choose the folder for self-contained movies</source>
        <translation>Den Ordner der eigenständigen Filme wählen</translation>
    </message>
    <message>
        <source>Ra&amp;w streams:</source>
        <translation>Ro&amp;hdateien:</translation>
    </message>
    <message>
        <source>Folder for raw streams</source>
        <translation>Ordner der Rohdateien</translation>
    </message>
    <message>
        <source>Where the raw video and audio are written, in a folder named like the recording</source>
        <translation>Wohin Bild und Ton als Rohdateien geschrieben werden, in einen Ordner mit dem Namen der Aufnahme</translation>
    </message>
    <message>
        <source>Choose the folder for raw streams</source>
        <translation>Den Ordner der Rohdateien wählen</translation>
    </message>
    <message>
        <source>Hint</source>
        <translation>Hinweis</translation>
    </message>
</context>
<context>
    <name>ScriptAlert</name>
    <message>
        <source>Script</source>
        <translation>Skript</translation>
    </message>
    <message>
        <source>The script &quot;%1&quot; is still running.</source>
        <translation>Das Skript „%1“ läuft noch.</translation>
    </message>
    <message>
        <source>Recordings go on, but the windows react slowly until it ends. You can wait or end it.</source>
        <translation>Aufnahmen gehen weiter, aber die Fenster reagieren langsam, bis es endet. Sie können warten oder es beenden.</translation>
    </message>
    <message>
        <source>End Script</source>
        <translation>Skript beenden</translation>
    </message>
</context>
<context>
    <name>TapedeckWindow</name>
    <message>
        <source>Hint</source>
        <translation>Hinweis</translation>
    </message>
    <message>
        <source>Recording state</source>
        <translation>Aufnahmezustand</translation>
    </message>
    <message>
        <source>Current recording</source>
        <translation>Laufende Aufnahme</translation>
    </message>
    <message>
        <source>Live picture</source>
        <translation>Live-Bild</translation>
    </message>
    <message>
        <source>Level of the left channel</source>
        <translation>Pegel des linken Kanals</translation>
    </message>
    <message>
        <source>Left level</source>
        <translation>Pegel links</translation>
    </message>
    <message>
        <source>L</source>
        <comment>Left channel, one letter</comment>
        <translation>L</translation>
    </message>
    <message>
        <source>Level of the right channel</source>
        <translation>Pegel des rechten Kanals</translation>
    </message>
    <message>
        <source>Right level</source>
        <translation>Pegel rechts</translation>
    </message>
    <message>
        <source>R</source>
        <comment>Right channel, one letter</comment>
        <translation>R</translation>
    </message>
    <message>
        <source>Time code</source>
        <translation>Timecode</translation>
    </message>
    <message>
        <source>Time code of the source that is chosen in the deck settings</source>
        <translation>Timecode der Quelle, die in den Geräteeinstellungen gewählt ist</translation>
    </message>
    <message>
        <source>Recorded</source>
        <translation>Aufgenommen</translation>
    </message>
    <message>
        <source>Length of the running recording</source>
        <translation>Länge der laufenden Aufnahme</translation>
    </message>
    <message>
        <source>Recorded time</source>
        <translation>Aufgenommene Zeit</translation>
    </message>
    <message>
        <source>Left on disk</source>
        <translation>Frei auf der Platte</translation>
    </message>
    <message>
        <source>Recording time that is left on the disk of the recording folder: green for an hour or more, orange for half an hour, red below</source>
        <translation>Aufnahmezeit, die auf der Platte des Aufnahmeordners bleibt: grün ab einer Stunde, orange ab einer halben, darunter rot</translation>
    </message>
    <message>
        <source>Recording time left on disk</source>
        <translation>Verbleibende Aufnahmezeit auf der Platte</translation>
    </message>
    <message>
        <source>&amp;Name:</source>
        <translation>&amp;Name:</translation>
    </message>
    <message>
        <source>Name of the next recording; numbered when there is one of that name</source>
        <translation>Name der nächsten Aufnahme; mit Nummer, wenn es ihn schon gibt</translation>
    </message>
    <message>
        <source>Recording name</source>
        <translation>Name der Aufnahme</translation>
    </message>
    <message>
        <source>&amp;Automatic</source>
        <translation>A&amp;utomatisch</translation>
    </message>
    <message>
        <source>Name each recording by its date and time</source>
        <translation>Jede Aufnahme nach Datum und Uhrzeit benennen</translation>
    </message>
    <message>
        <source>Automatic recording name</source>
        <translation>Automatischer Aufnahmename</translation>
    </message>
    <message>
        <source>&amp;Record</source>
        <translation>&amp;Aufnahme</translation>
    </message>
    <message>
        <source>Start recording (Ctrl+R)</source>
        <translation>Aufnahme beginnen (Strg+R)</translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>&amp;Stop</source>
        <translation>&amp;Stopp</translation>
    </message>
    <message>
        <source>End the recording (Ctrl+.)</source>
        <translation>Aufnahme beenden (Strg+.)</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message>
        <source>&amp;Pause</source>
        <translation>&amp;Pause</translation>
    </message>
    <message>
        <source>Hold the recording, and go on (Ctrl+P)</source>
        <translation>Aufnahme anhalten und fortsetzen (Strg+P)</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>S&amp;chedule…</source>
        <translation>P&amp;lanen…</translation>
    </message>
    <message>
        <source>Recordings at set times (Ctrl+E)</source>
        <translation>Aufnahmen zu festen Zeiten (Strg+E)</translation>
    </message>
    <message>
        <source>Scheduled recordings</source>
        <translation>Geplante Aufnahmen</translation>
    </message>
    <message>
        <source>Se&amp;ttings…</source>
        <translation>Gerä&amp;t…</translation>
    </message>
    <message>
        <source>What this deck records, and where to (Ctrl+I)</source>
        <translation>Was dieses Gerät aufnimmt, und wohin (Strg+I)</translation>
    </message>
    <message>
        <source>Deck settings</source>
        <translation>Geräteeinstellungen</translation>
    </message>
    <message>
        <source>Deck Settings</source>
        <translation>Geräteeinstellungen</translation>
    </message>
    <message>
        <source>Deck</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>What the deck is called in windows, menus and remote control</source>
        <translation>Wie das Gerät in Fenstern, Menüs und Fernsteuerung heißt</translation>
    </message>
    <message>
        <source>Deck name</source>
        <translation>Gerätename</translation>
    </message>
    <message>
        <source>GUID:</source>
        <translation>GUID:</translation>
    </message>
    <message>
        <source>By this number the deck is known on the bus</source>
        <translation>Unter dieser Nummer ist das Gerät am Bus bekannt</translation>
    </message>
    <message>
        <source>Deck GUID</source>
        <translation>GUID des Geräts</translation>
    </message>
    <message>
        <source>Self-contained movie</source>
        <translation>Eigenständiger Film</translation>
    </message>
    <message>
        <source>&amp;Write a self-contained movie while recording</source>
        <translation>Beim Aufnehmen einen eigenständigen &amp;Film schreiben</translation>
    </message>
    <message>
        <source>One file with picture, sound and time code</source>
        <translation>Eine Datei mit Bild, Ton und Timecode</translation>
    </message>
    <message>
        <source>M&amp;ovie folder:</source>
        <translation>&amp;Ordner:</translation>
    </message>
    <message>
        <source>Folder of self-contained movies</source>
        <translation>Ordner der eigenständigen Filme</translation>
    </message>
    <message>
        <source>Choose…</source>
        <translation>Wählen…</translation>
    </message>
    <message>
        <source>Choose the folder of self-contained movies</source>
        <translation>Den Ordner der eigenständigen Filme wählen</translation>
    </message>
    <message>
        <source>Raw files and reference movie</source>
        <translation>Rohdateien und Referenzfilm</translation>
    </message>
    <message>
        <source>Write raw files and a re&amp;ference movie</source>
        <translation>Rohdateien und einen &amp;Referenzfilm schreiben</translation>
    </message>
    <message>
        <source>The DV stream and the sound as they come, and a movie that can be edited while they grow</source>
        <translation>DV-Strom und Ton, wie sie kommen, und ein Film, der sich schneiden lässt, während sie wachsen</translation>
    </message>
    <message>
        <source>&amp;Raw folder:</source>
        <translation>Ordner für Roh&amp;dateien:</translation>
    </message>
    <message>
        <source>Folder of raw files</source>
        <translation>Ordner der Rohdateien</translation>
    </message>
    <message>
        <source>Choose the folder of raw files</source>
        <translation>Den Ordner der Rohdateien wählen</translation>
    </message>
    <message>
        <source>Reference mo&amp;vie folder:</source>
        <translation>Ordner für Referen&amp;zfilme:</translation>
    </message>
    <message>
        <source>Folder of reference movies</source>
        <translation>Ordner der Referenzfilme</translation>
    </message>
    <message>
        <source>Choose the folder of reference movies</source>
        <translation>Den Ordner der Referenzfilme wählen</translation>
    </message>
    <message>
        <source>&amp;Duration:</source>
        <translation>&amp;Länge:</translation>
    </message>
    <message>
        <source>Length of the reference movie and of the loop, in seconds</source>
        <translation>Länge des Referenzfilms und der Schleife in Sekunden</translation>
    </message>
    <message>
        <source>Duration in seconds</source>
        <translation>Länge in Sekunden</translation>
    </message>
    <message>
        <source>seconds</source>
        <translation>Sekunden</translation>
    </message>
    <message>
        <source>&amp;Loop: keep only the last stretch of this duration</source>
        <translation>S&amp;chleife: nur das letzte Stück dieser Länge behalten</translation>
    </message>
    <message>
        <source>The raw files start again from the beginning whenever they have reached the duration</source>
        <translation>Die Rohdateien beginnen von vorn, sobald sie die Länge erreicht haben</translation>
    </message>
    <message>
        <source>Loop recording</source>
        <translation>Schleifenaufnahme</translation>
    </message>
    <message>
        <source>Time code and sound</source>
        <translation>Timecode und Ton</translation>
    </message>
    <message>
        <source>&amp;Time code:</source>
        <translation>&amp;Timecode:</translation>
    </message>
    <message>
        <source>What a recording&apos;s time code begins with</source>
        <translation>Womit der Timecode einer Aufnahme beginnt</translation>
    </message>
    <message>
        <source>Time code source</source>
        <translation>Timecode-Quelle</translation>
    </message>
    <message>
        <source>From the tape</source>
        <translation>Vom Band</translation>
    </message>
    <message>
        <source>Time of day</source>
        <translation>Uhrzeit</translation>
    </message>
    <message>
        <source>Preset</source>
        <translation>Vorgabe</translation>
    </message>
    <message>
        <source>Pr&amp;eset:</source>
        <translation>&amp;Vorgabe:</translation>
    </message>
    <message>
        <source>Hours, minutes, seconds and frames; the colons may be left out</source>
        <translation>Stunden, Minuten, Sekunden und Bilder; die Doppelpunkte können fehlen</translation>
    </message>
    <message>
        <source>Preset time code</source>
        <translation>Vorgegebener Timecode</translation>
    </message>
    <message>
        <source>So&amp;und channels as mono</source>
        <translation>Tonkanäle als &amp;Mono</translation>
    </message>
    <message>
        <source>Movies call both channels mono, instead of left and right</source>
        <translation>Filme bezeichnen beide Kanäle als Mono statt als links und rechts</translation>
    </message>
    <message>
        <source>Sound channels as mono</source>
        <translation>Tonkanäle als Mono</translation>
    </message>
    <message>
        <source>Lost frames</source>
        <translation>Verlorene Bilder</translation>
    </message>
</context>
<context>
    <name>takebox::CDVDeviceWindowController</name>
    <message>
        <source>No Recording Destination!</source>
        <translation>Kein Aufnahmeziel!</translation>
    </message>
    <message>
        <source>No destination has been set.
Please check your Capture Settings and try again.</source>
        <translation>Es ist kein Ziel eingestellt.
Bitte prüfen Sie die Geräteeinstellungen und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>Cannot create the self-contained movie!</source>
        <translation>Der eigenständige Film kann nicht angelegt werden!</translation>
    </message>
    <message>
        <source>Please make sure the destination reference file is not open in another application.</source>
        <translation>Bitte stellen Sie sicher, dass die Zieldatei nicht in einem anderen Programm geöffnet ist.</translation>
    </message>
    <message>
        <source>Cannot create the reference movie!</source>
        <translation>Der Referenzfilm kann nicht angelegt werden!</translation>
    </message>
    <message>
        <source>SelectFolder</source>
        <translation>Ordner wählen</translation>
    </message>
    <message>
        <source>the raw files in %1</source>
        <translation>die Rohdateien in %1</translation>
    </message>
    <message>
        <source>the reference movie in %1</source>
        <translation>der Referenzfilm in %1</translation>
    </message>
    <message>
        <source>the self-contained movie in %1</source>
        <translation>der eigenständige Film in %1</translation>
    </message>
    <message>
        <source>Not everything is recorded!</source>
        <translation>Nicht alles wird aufgenommen!</translation>
    </message>
    <message>
        <source>These cannot be written: %1.
Please check your Capture Settings and try again.</source>
        <translation>Diese können nicht geschrieben werden: %1.
Bitte prüfen Sie die Aufnahme-Einstellungen und versuchen Sie es noch einmal.</translation>
    </message>
    <message>
        <source>, </source>
        <translation>, </translation>
    </message>
    <message>
        <source>Recording cut off!</source>
        <translation>Aufzeichnung abgebrochen!</translation>
    </message>
    <message>
        <source>%1 was disconnected, or does not send DV any more, while it recorded “%2”.
Received until then: %3, %4 frames, %5 lost. Check its cable and power, then start a new recording.</source>
        <translation>%1 wurde getrennt oder sendet kein DV mehr, während „%2“ aufgezeichnet wurde.
Bis dahin empfangen: %3, %4 Bilder, %5 verloren. Prüfen Sie Kabel und Strom und starten Sie dann eine neue Aufzeichnung.</translation>
    </message>
    <message>
        <source>Nothing is recorded!</source>
        <translation>Nichts wird aufgenommen!</translation>
    </message>
</context>
<context>
    <name>takebox::CSchedulingWindowController</name>
    <message>
        <source>Nothing is scheduled. Add a recording to have it start and stop on its own.</source>
        <translation>Es ist nichts geplant. Fügen Sie eine Aufnahme hinzu; sie beginnt und endet dann von selbst.</translation>
    </message>
    <message>
        <source>Some recordings of one device overlap. The later one starts when the earlier one has ended.</source>
        <translation>Einige Aufnahmen eines Geräts überschneiden sich. Die spätere beginnt, wenn die frühere zu Ende ist.</translation>
    </message>
    <message>
        <source>No device is connected</source>
        <translation>Kein Gerät ist angeschlossen</translation>
    </message>
    <message>
        <source>Choose a device</source>
        <translation>Gerät wählen</translation>
    </message>
    <message>
        <source>%1 is not connected; choose a device</source>
        <translation>%1 ist nicht angeschlossen; wählen Sie ein Gerät</translation>
    </message>
    <message>
        <source>Give the recording a name.</source>
        <translation>Geben Sie der Aufnahme einen Namen.</translation>
    </message>
    <message>
        <source>%1 is missing.</source>
        <translation>%1 fehlt.</translation>
    </message>
    <message>
        <source>Choose the device to record from.</source>
        <translation>Wählen Sie das Gerät, das aufgenommen wird.</translation>
    </message>
    <message>
        <source>Set a duration, or an end after the start.</source>
        <translation>Stellen Sie eine Dauer ein oder ein Ende nach dem Beginn.</translation>
    </message>
    <message>
        <source>No day is ticked: this recording will never start.</source>
        <translation>Kein Tag ist angekreuzt: Diese Aufnahme wird nie beginnen.</translation>
    </message>
    <message>
        <source>This time is over: the recording will not start.</source>
        <translation>Dieser Zeitpunkt ist vorbei: Die Aufnahme wird nicht beginnen.</translation>
    </message>
    <message>
        <source>Overlaps with %1 on the same device.</source>
        <translation>Überschneidet sich mit %1 auf demselben Gerät.</translation>
    </message>
</context>
<context>
    <name>takebox::CTapedeckApplication</name>
    <message>
        <source>The application preferences have been updated !</source>
        <translation>Die Einstellungen des Programms wurden aktualisiert!</translation>
    </message>
    <message>
        <source>This application will need to be restarted.</source>
        <translation>Das Programm muss neu gestartet werden.</translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message>
        <source>Remote control is off.</source>
        <translation>Die Fernsteuerung ist aus.</translation>
    </message>
    <message>
        <source>The network port %1 cannot be used; another program may have it. Another port can be chosen with --control-port.</source>
        <translation>Der Netzwerk-Port %1 kann nicht benutzt werden; vielleicht hat ihn ein anderes Programm. Mit --control-port lässt sich ein anderer wählen.</translation>
    </message>
</context>
<context>
    <name>takebox::DesktopInterface</name>
    <message>
        <source>Quit and end the recording?</source>
        <translation>Beenden und die Aufnahme abbrechen?</translation>
    </message>
    <message>
        <source>What has been recorded so far is kept.</source>
        <translation>Was bisher aufgenommen wurde, bleibt erhalten.</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Close the last window?</source>
        <translation>Das letzte Fenster schließen?</translation>
    </message>
    <message>
        <source>A deck is recording. It goes on without a window; start the program again to see it. Quitting ends the recording and keeps what has been recorded so far.</source>
        <translation>Ein Gerät nimmt auf. Die Aufnahme läuft ohne Fenster weiter; starten Sie das Programm noch einmal, um es zu sehen. Beenden schließt die Aufnahme ab und behält, was bisher aufgenommen wurde.</translation>
    </message>
    <message>
        <source>Recordings are scheduled. They take place without a window; start the program again to see it. After quitting they do not take place.</source>
        <translation>Aufnahmen sind geplant. Sie finden auch ohne Fenster statt; starten Sie das Programm noch einmal, um es zu sehen. Nach dem Beenden finden sie nicht statt.</translation>
    </message>
    <message>
        <source>Close &amp;Window</source>
        <translation>&amp;Fenster schließen</translation>
    </message>
</context>
<context>
    <name>takebox::NoDeviceWindow</name>
    <message>
        <source>This computer has no FireWire socket, or its driver is not loaded.</source>
        <translation>Dieser Rechner hat keinen FireWire-Anschluss, oder sein Treiber ist nicht geladen.</translation>
    </message>
    <message>
        <source>There is a FireWire socket, but you may not use it. Add yourself to the group “video” and log in again.</source>
        <translation>Es gibt einen FireWire-Anschluss, aber Sie dürfen ihn nicht benutzen. Nehmen Sie sich in die Gruppe „video“ auf und melden Sie sich neu an.</translation>
    </message>
    <message>
        <source>The FireWire socket is ready.</source>
        <translation>Der FireWire-Anschluss ist bereit.</translation>
    </message>
    <message>
        <source>%1 is connected, but sends a signal that cannot be recorded, such as HDV. Switch its output to DV.</source>
        <translation>%1 ist angeschlossen, sendet aber ein Signal, das nicht aufgezeichnet werden kann, etwa HDV. Stellen Sie den Ausgang auf DV.</translation>
    </message>
</context>
<context>
    <name>takebox::RecoveryOffer</name>
    <message>
        <source>Recordings That Were Cut Off</source>
        <translation>Abgebrochene Aufnahmen</translation>
    </message>
    <message>
        <source>The program ended while it was recording:
%1

What had reached the disk can be made whole movies. The original files are kept.</source>
        <translation>Das Programm endete während der Aufnahme:
%1

Was auf dem Datenträger angekommen ist, kann zu vollständigen Filmen gemacht werden. Die Originaldateien bleiben erhalten.</translation>
    </message>
    <message>
        <source>&amp;Recover</source>
        <translation>&amp;Wiederherstellen</translation>
    </message>
    <message>
        <source>&amp;Do Not Ask Again</source>
        <translation>&amp;Nicht mehr fragen</translation>
    </message>
    <message>
        <source>&amp;Not Now</source>
        <translation>&amp;Jetzt nicht</translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation>&amp;Abbrechen</translation>
    </message>
    <message>
        <source>&amp;Close</source>
        <translation>S&amp;chließen</translation>
    </message>
</context>
<context>
    <name>takebox::ScheduledEventsModel</name>
    <message>
        <source>Both movies</source>
        <translation>Beide Filme</translation>
    </message>
    <message>
        <source>Reference movie</source>
        <translation>Referenzfilm</translation>
    </message>
    <message>
        <source>Self-contained movie</source>
        <translation>Eigenständiger Film</translation>
    </message>
    <message>
        <source>Nothing</source>
        <translation>Nichts</translation>
    </message>
    <message>
        <source>On no day</source>
        <translation>An keinem Tag</translation>
    </message>
    <message>
        <source>Device</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>When</source>
        <translation>Wann</translation>
    </message>
    <message>
        <source>Duration</source>
        <translation>Dauer</translation>
    </message>
    <message>
        <source>Records</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>State</source>
        <translation>Zustand</translation>
    </message>
    <message>
        <source>%1 (not connected)</source>
        <translation>%1 (nicht angeschlossen)</translation>
    </message>
    <message>
        <source>%1, %2 to %3</source>
        <translation>%1, %2 bis %3</translation>
    </message>
    <message>
        <source>Recording</source>
        <translation>Nimmt auf</translation>
    </message>
    <message>
        <source>Due, device is not connected</source>
        <translation>Fällig, Gerät nicht angeschlossen</translation>
    </message>
    <message>
        <source>Due, device is busy</source>
        <translation>Fällig, Gerät beschäftigt</translation>
    </message>
    <message>
        <source>Next, in %1</source>
        <translation>Als Nächstes, in %1</translation>
    </message>
    <message>
        <source>Scheduled</source>
        <translation>Geplant</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Vorbei</translation>
    </message>
    <message>
        <source>Never: no day or no length</source>
        <translation>Nie: kein Tag oder keine Dauer</translation>
    </message>
    <message>
        <source>The device is not connected. If it comes back in time, the rest is recorded.</source>
        <translation>Das Gerät ist nicht angeschlossen. Kommt es rechtzeitig wieder, wird der Rest aufgenommen.</translation>
    </message>
    <message>
        <source>Overlaps with %1 on the same device. The later one starts when the earlier one has ended.</source>
        <translation>Überschneidet sich mit %1 auf demselben Gerät. Die spätere Aufnahme beginnt, wenn die frühere zu Ende ist.</translation>
    </message>
</context>
<context>
    <name>takebox::SheetHint</name>
    <message>
        <source>No movie is ticked: nothing would be recorded.</source>
        <translation>Kein Film ist angekreuzt: Es würde nichts aufgenommen.</translation>
    </message>
    <message>
        <source>%1 does not exist now.</source>
        <translation>%1: zurzeit nicht vorhanden.</translation>
    </message>
    <message>
        <source>%1: you may not write there.</source>
        <translation>%1: keine Schreibberechtigung.</translation>
    </message>
</context>
<context>
    <name>takebox::TapedeckWindow</name>
    <message>
        <source>STOPPED</source>
        <translation>GESTOPPT</translation>
    </message>
    <message>
        <source>● RECORDING</source>
        <translation>● AUFNAHME</translation>
    </message>
    <message>
        <source>❚❚ PAUSED</source>
        <translation>❚❚ PAUSE</translation>
    </message>
    <message>
        <source>&amp;Deck</source>
        <translation>&amp;Gerät</translation>
    </message>
    <message>
        <source>&amp;Record</source>
        <translation>&amp;Aufnahme</translation>
    </message>
    <message>
        <source>&amp;Stop</source>
        <translation>&amp;Stopp</translation>
    </message>
    <message>
        <source>&amp;Pause</source>
        <translation>&amp;Pause</translation>
    </message>
    <message>
        <source>&amp;Automatic Name</source>
        <translation>A&amp;utomatischer Name</translation>
    </message>
    <message>
        <source>Deck Se&amp;ttings…</source>
        <translation>Geräteeins&amp;tellungen…</translation>
    </message>
    <message>
        <source>No signal</source>
        <translation>Kein Signal</translation>
    </message>
    <message>
        <source>Press Play on the deck, or check its input.</source>
        <translation>Drücken Sie am Gerät auf Wiedergabe, oder prüfen Sie seinen Eingang.</translation>
    </message>
    <message>
        <source>No permission to use %1 (%2). Add yourself to the group video or install the udev rule.</source>
        <translation>Keine Berechtigung für %1 (%2). Treten Sie der Gruppe video bei, oder installieren Sie die udev-Regel.</translation>
    </message>
    <message>
        <source>The deck cannot be opened. Check its cable and power, and whether another program uses it.</source>
        <translation>Das Gerät lässt sich nicht öffnen. Prüfen Sie Kabel und Strom, und ob ein anderes Programm es benutzt.</translation>
    </message>
    <message>
        <source>Frames that the recording lacks</source>
        <translation>Bilder, die der Aufnahme fehlen</translation>
    </message>
    <message>
        <source>What the recording lacks, by its time code:</source>
        <translation>Was der Aufnahme fehlt, nach Timecode:</translation>
    </message>
    <message>
        <source>The deck sends a signal that cannot be recorded, such as HDV. Switch its output to DV.</source>
        <translation>Das Deck sendet ein Signal, das nicht aufgezeichnet werden kann, etwa HDV. Stellen Sie seinen Ausgang auf DV.</translation>
    </message>
    <message>
        <source>Another receiver uses the deck&apos;s channel. Quit other programs that receive DV, or connect the other deck to a card of its own.</source>
        <translation>Ein anderer Empfänger belegt den Kanal des Decks. Beenden Sie andere Programme, die DV empfangen, oder schließen Sie das andere Deck an eine eigene Karte an.</translation>
    </message>
    <message>
        <source>The deck accepts no connection. Switch it off and on, or unplug its FireWire cable and plug it in again.</source>
        <translation>Das Deck nimmt keine Verbindung an. Schalten Sie es aus und ein, oder ziehen Sie sein FireWire-Kabel ab und stecken Sie es wieder an.</translation>
    </message>
    <message>
        <source>The deck cannot be received. Unplug its FireWire cable and plug it in again; the log has the reason.</source>
        <translation>Das Deck kann nicht empfangen werden. Ziehen Sie sein FireWire-Kabel ab und stecken Sie es wieder an; der Grund steht im Protokoll.</translation>
    </message>
    <message>
        <source>▲ WRITE ERROR</source>
        <translation>▲ SCHREIBFEHLER</translation>
    </message>
    <message>
        <source>the disk is full</source>
        <translation>der Datenträger ist voll</translation>
    </message>
    <message>
        <source>Cannot write %1: %2</source>
        <translation>Kann nicht schreiben: %1 (%2)</translation>
    </message>
    <message>
        <source>%1 could not be written: %2</source>
        <translation>Konnte nicht schreiben: %1 (%2)</translation>
    </message>
    <message numerus="yes">
        <source>%n frame(s) lost</source>
        <translation>
            <numerusform>%n Bild verloren</numerusform>
            <numerusform>%n Bilder verloren</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n problem(s)</source>
        <translation>
            <numerusform>%n Störung</numerusform>
            <numerusform>%n Störungen</numerusform>
        </translation>
    </message>
</context>
</TS>
