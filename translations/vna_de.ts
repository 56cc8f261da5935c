<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>AboutDialog</name>
    <message>
        <source>No device connected</source>
        <translation>Kein Gerät verbunden</translation>
    </message>
    <message>
        <source>Demo Device</source>
        <translation>Demo-Gerät</translation>
    </message>
    <message>
        <source>%1, serial number %2, firmware %3</source>
        <translation>%1, Seriennummer %2, Firmware %3</translation>
    </message>
    <message>
        <source>About</source>
        <translation>Über</translation>
    </message>
    <message>
        <source>Kestrix Vector Network Analysis Software</source>
        <translation>Kestrix Software zur vektoriellen Netzwerkanalyse</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>Version %1</translation>
    </message>
    <message>
        <source>NVX400 API Version</source>
        <translation>NVX400-API-Version</translation>
    </message>
    <message>
        <source>not loaded</source>
        <translation>nicht geladen</translation>
    </message>
    <message>
        <source>Instrument</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>Built with Qt %1</source>
        <translation>Erstellt mit Qt %1</translation>
    </message>
    <message>
        <source>Licensed under the GNU General Public License, version 3 or later.</source>
        <translation>Lizenziert unter der GNU General Public License, Version 3 oder neuer.</translation>
    </message>
    <message>
        <source>Kestrix Website</source>
        <translation>Kestrix-Website</translation>
    </message>
    <message>
        <source>Check for new versions at start-up</source>
        <translation>Beim Start nach neuen Versionen suchen</translation>
    </message>
    <message>
        <source>Asks the Kestrix web server for the latest version number; nothing else is sent.</source>
        <translation>Fragt den Kestrix-Webserver nach der neuesten Versionsnummer; sonst wird nichts gesendet.</translation>
    </message>
    <message>
        <source>Check Now</source>
        <translation>Jetzt prüfen</translation>
    </message>
    <message>
        <source>Checking...</source>
        <translation>Wird geprüft...</translation>
    </message>
    <message>
        <source>The Kestrix web server could not be reached.</source>
        <translation>Der Kestrix-Webserver war nicht erreichbar.</translation>
    </message>
    <message>
        <source>Version %1 is available.</source>
        <translation>Version %1 ist verfügbar.</translation>
    </message>
    <message>
        <source>This is the latest version.</source>
        <translation>Dies ist die neueste Version.</translation>
    </message>
</context>
<context>
    <name>Cables</name>
    <message>
        <source>Air dielectric</source>
        <translation>Luftdielektrikum</translation>
    </message>
    <message>
        <source>Air-spaced PE</source>
        <translation>PE mit Luftkammern</translation>
    </message>
    <message>
        <source>Gas-injected foam PE</source>
        <translation>Gasgeschäumtes PE</translation>
    </message>
    <message>
        <source>Foam PE</source>
        <translation>Schaum-PE</translation>
    </message>
    <message>
        <source>Expanded PTFE</source>
        <translation>Expandiertes PTFE</translation>
    </message>
    <message>
        <source>Solid PTFE</source>
        <translation>Massives PTFE</translation>
    </message>
    <message>
        <source>Solid PE</source>
        <translation>Massives PE</translation>
    </message>
</context>
<context>
    <name>CalKitEditDlg</name>
    <message>
        <source>Offset Delay</source>
        <translation>Offset-Verzögerung</translation>
    </message>
    <message>
        <source>Offset Loss</source>
        <translation>Offset-Verlust</translation>
    </message>
    <message>
        <source>Offset Z0</source>
        <translation>Offset-Z0</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
    <message>
        <source>Thru</source>
        <translation>Durchverbindung</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Calibration Kit Editor</source>
        <translation>Kalibriersatz-Editor</translation>
    </message>
    <message>
        <source>Kit Name</source>
        <translation>Name des Satzes</translation>
    </message>
    <message>
        <source>Description</source>
        <translation>Beschreibung</translation>
    </message>
    <message>
        <source>Connector</source>
        <translation>Steckverbinder</translation>
    </message>
    <message>
        <source>Add Standard</source>
        <translation>Standard hinzufügen</translation>
    </message>
    <message>
        <source>Copy Standard</source>
        <translation>Standard kopieren</translation>
    </message>
    <message>
        <source>Remove Standard</source>
        <translation>Standard entfernen</translation>
    </message>
    <message>
        <source>Load Data</source>
        <translation>Daten laden</translation>
    </message>
    <message>
        <source>ID</source>
        <translation>ID</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>Typ</translation>
    </message>
    <message>
        <source>Gender</source>
        <translation>Geschlecht</translation>
    </message>
    <message>
        <source>Min Freq</source>
        <translation>Min. Freq.</translation>
    </message>
    <message>
        <source>Max Freq</source>
        <translation>Max. Freq.</translation>
    </message>
    <message>
        <source>Data File</source>
        <translation>Datendatei</translation>
    </message>
    <message>
        <source>Add to Class</source>
        <translation>Zur Klasse hinzufügen</translation>
    </message>
    <message>
        <source>Remove from Class</source>
        <translation>Aus Klasse entfernen</translation>
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
        <source>Class</source>
        <translation>Klasse</translation>
    </message>
    <message>
        <source>%1 - (missing)</source>
        <translation>%1 - (fehlt)</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Invalid ID</source>
        <translation>Ungültige ID</translation>
    </message>
    <message>
        <source>New standard</source>
        <translation>Neuer Standard</translation>
    </message>
    <message>
        <source>Only a data based standard takes data from a file.</source>
        <translation>Nur ein datenbasierter Standard übernimmt Daten aus einer Datei.</translation>
    </message>
    <message>
        <source>SnP File (*.s1p *.s2p)</source>
        <translation>SnP-Datei (*.s1p *.s2p)</translation>
    </message>
    <message>
        <source>Standard Data</source>
        <translation>Standarddaten</translation>
    </message>
    <message>
        <source>Error Parsing SnP File</source>
        <translation>Fehler beim Lesen der SnP-Datei</translation>
    </message>
    <message>
        <source>Calibration Kit</source>
        <translation>Kalibriersatz</translation>
    </message>
</context>
<context>
    <name>CalKitManagerDlg</name>
    <message>
        <source>Manage Calibration Kits</source>
        <translation>Kalibriersätze verwalten</translation>
    </message>
    <message>
        <source>New</source>
        <translation>Neu</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>Importieren</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Characterize Standard</source>
        <translation>Standard charakterisieren</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>%1 (system, read-only)</source>
        <translation>%1 (System, schreibgeschützt)</translation>
    </message>
</context>
<context>
    <name>CalMeasureDlg</name>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Did not measure the minimum number of slides (5).
Sliding load measurement failed.</source>
        <translation>Die Mindestanzahl von Schieberpositionen (5) wurde nicht gemessen.
Messung des gleitenden Abschlusses fehlgeschlagen.</translation>
    </message>
    <message>
        <source>Optional</source>
        <translation>Optional</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Not Complete</source>
        <translation>Unvollständig</translation>
    </message>
    <message>
        <source>Calibration incomplete, finish calibration.</source>
        <translation>Kalibrierung unvollständig, bitte die Kalibrierung abschließen.</translation>
    </message>
    <message>
        <source>Question</source>
        <translation>Frage</translation>
    </message>
    <message>
        <source>Calibration incomplete, are you sure you wish to cancel?</source>
        <translation>Kalibrierung unvollständig, wirklich abbrechen?</translation>
    </message>
</context>
<context>
    <name>CalSetupDlg</name>
    <message>
        <source>Start New Mechanical Calibration</source>
        <translation>Neue mechanische Kalibrierung starten</translation>
    </message>
    <message>
        <source>Port 1</source>
        <translation>Port 1</translation>
    </message>
    <message>
        <source>Port 2</source>
        <translation>Port 2</translation>
    </message>
    <message>
        <source>Cal Type</source>
        <translation>Kalibrierart</translation>
    </message>
    <message>
        <source>Cal Kit</source>
        <translation>Kalibriersatz</translation>
    </message>
    <message>
        <source>Port Select</source>
        <translation>Portauswahl</translation>
    </message>
</context>
<context>
    <name>CalWorkflow</name>
    <message>
        <source>Unable to write the calibration file %1.</source>
        <translation>Die Kalibrierdatei %1 kann nicht geschrieben werden.</translation>
    </message>
</context>
<context>
    <name>CalibrationControlPanel</name>
    <message>
        <source>Start New Calibration (Mechanical)</source>
        <translation>Neue Kalibrierung starten (mechanisch)</translation>
    </message>
    <message>
        <source>Start New Calibration (Electronic)</source>
        <translation>Neue Kalibrierung starten (elektronisch)</translation>
    </message>
    <message>
        <source>Load Calibration</source>
        <translation>Kalibrierung laden</translation>
    </message>
    <message>
        <source>Unload Calibration</source>
        <translation>Kalibrierung entladen</translation>
    </message>
    <message>
        <source>Cal Loaded</source>
        <translation>Kal. geladen</translation>
    </message>
    <message>
        <source>Cal Enabled</source>
        <translation>Kal. aktiv</translation>
    </message>
    <message>
        <source>Interp Enabled</source>
        <translation>Interp. aktiv</translation>
    </message>
    <message>
        <source>Cal Set Viewer</source>
        <translation>Kalibriersatz-Ansicht</translation>
    </message>
    <message>
        <source>Display</source>
        <translation>Anzeige</translation>
    </message>
    <message>
        <source>Standards</source>
        <translation>Standards</translation>
    </message>
    <message>
        <source>Error Terms</source>
        <translation>Fehlerterme</translation>
    </message>
    <message>
        <source>Shows whether the channel holds a calibration.</source>
        <translation>Zeigt, ob der Kanal eine Kalibrierung enthält.</translation>
    </message>
    <message>
        <source>Set Display to Standards to choose a standard.</source>
        <translation>Anzeige auf „Standards“ stellen, um einen Standard zu wählen.</translation>
    </message>
    <message>
        <source>Set Display to Error Terms to choose an error term.</source>
        <translation>Anzeige auf „Fehlerterme“ stellen, um einen Fehlerterm zu wählen.</translation>
    </message>
</context>
<context>
    <name>ChannelControlPanel</name>
    <message>
        <source>Add Channel + Trace</source>
        <translation>Kanal + Messkurve hinzufügen</translation>
    </message>
    <message>
        <source>Add Channel + Trace + Plot</source>
        <translation>Kanal + Messkurve + Diagramm hinzufügen</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Active</source>
        <translation>Aktiv</translation>
    </message>
</context>
<context>
    <name>CharacterizeStandardDlg</name>
    <message>
        <source>Characterize Standard</source>
        <translation>Standard charakterisieren</translation>
    </message>
    <message>
        <source>Port 1</source>
        <translation>Port 1</translation>
    </message>
    <message>
        <source>Port 2</source>
        <translation>Port 2</translation>
    </message>
    <message>
        <source>Between Port 1 and Port 2</source>
        <translation>Zwischen Port 1 und Port 2</translation>
    </message>
    <message>
        <source>Characterized standard</source>
        <translation>Charakterisierter Standard</translation>
    </message>
    <message>
        <source>Cal Kit</source>
        <translation>Kalibriersatz</translation>
    </message>
    <message>
        <source>Measured On</source>
        <translation>Gemessen an</translation>
    </message>
    <message>
        <source>Class</source>
        <translation>Klasse</translation>
    </message>
    <message>
        <source>Gender</source>
        <translation>Geschlecht</translation>
    </message>
    <message>
        <source>Description</source>
        <translation>Beschreibung</translation>
    </message>
    <message>
        <source>Connect the standard to the calibrated channel, then press OK.</source>
        <translation>Schließen Sie den Standard am kalibrierten Kanal an und drücken Sie dann OK.</translation>
    </message>
</context>
<context>
    <name>ECalMeasureDlg</name>
    <message>
        <source>Cal Kit: </source>
        <translation>Kalibriersatz: </translation>
    </message>
    <message>
        <source>Cal Kit Temp:</source>
        <translation>Temp. Kalibriersatz:</translation>
    </message>
    <message>
        <source>Cal Kit Status:</source>
        <translation>Status Kalibriersatz:</translation>
    </message>
    <message>
        <source>Measure</source>
        <translation>Messen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>%1 °C</source>
        <translation>%1 °C</translation>
    </message>
    <message>
        <source>In Range</source>
        <translation>Im Bereich</translation>
    </message>
    <message>
        <source>Out of Range</source>
        <translation>Außerhalb des Bereichs</translation>
    </message>
    <message>
        <source>Unable to switch the uCal module to the standard.
Cannot continue calibration.</source>
        <translation>Das uCal-Modul kann nicht auf den Standard geschaltet werden.
Kalibrierung kann nicht fortgesetzt werden.</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
</context>
<context>
    <name>ECalSetupDlg</name>
    <message>
        <source>Start New Electronic Calibration</source>
        <translation>Neue elektronische Kalibrierung starten</translation>
    </message>
    <message>
        <source>Factory</source>
        <translation>Werk</translation>
    </message>
    <message>
        <source>User</source>
        <translation>Benutzer</translation>
    </message>
    <message>
        <source>Port 1</source>
        <translation>Port 1</translation>
    </message>
    <message>
        <source>Port 2</source>
        <translation>Port 2</translation>
    </message>
    <message>
        <source>Port A</source>
        <translation>Port A</translation>
    </message>
    <message>
        <source>Port B</source>
        <translation>Port B</translation>
    </message>
    <message>
        <source>Cal Type</source>
        <translation>Kalibrierart</translation>
    </message>
    <message>
        <source>Cal Kit</source>
        <translation>Kalibriersatz</translation>
    </message>
    <message>
        <source>Characterization</source>
        <translation>Charakterisierung</translation>
    </message>
    <message>
        <source>VNA Port</source>
        <translation>VNA-Port</translation>
    </message>
    <message>
        <source>uCal Port</source>
        <translation>uCal-Port</translation>
    </message>
</context>
<context>
    <name>EquationEditor</name>
    <message>
        <source>Equation Editor</source>
        <translation>Formeleditor</translation>
    </message>
    <message>
        <source>Enabled</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Store Equation</source>
        <translation>Formel speichern</translation>
    </message>
    <message>
        <source>Delete Equation</source>
        <translation>Formel löschen</translation>
    </message>
    <message>
        <source>Parameters</source>
        <translation>Parameter</translation>
    </message>
    <message>
        <source>Functions</source>
        <translation>Funktionen</translation>
    </message>
    <message>
        <source>Traces</source>
        <translation>Messkurven</translation>
    </message>
    <message>
        <source>No known errors</source>
        <translation>Keine Fehler bekannt</translation>
    </message>
    <message>
        <source>Invalid equation</source>
        <translation>Ungültige Formel</translation>
    </message>
    <message>
        <source>Invalid equation: </source>
        <translation>Ungültige Formel: </translation>
    </message>
</context>
<context>
    <name>EquationTools</name>
    <message>
        <source>References invalid trace</source>
        <translation>Verweist auf eine ungültige Messkurve</translation>
    </message>
    <message>
        <source>Channel does not exist</source>
        <translation>Kanal existiert nicht</translation>
    </message>
    <message>
        <source>No trace is active</source>
        <translation>Keine Messkurve aktiv</translation>
    </message>
    <message>
        <source>Eqn Error: </source>
        <translation>Formelfehler: </translation>
    </message>
    <message>
        <source>Trace size mismatch</source>
        <translation>Messkurven unterschiedlich lang</translation>
    </message>
    <message>
        <source>Divide by zero</source>
        <translation>Division durch null</translation>
    </message>
    <message>
        <source>Invalid characters in equation</source>
        <translation>Ungültige Zeichen in der Formel</translation>
    </message>
    <message>
        <source>Not a valid number</source>
        <translation>Keine gültige Zahl</translation>
    </message>
    <message>
        <source>Equation nested too deeply</source>
        <translation>Formel zu tief verschachtelt</translation>
    </message>
    <message>
        <source>End of equation not reached</source>
        <translation>Ende der Formel nicht erreicht</translation>
    </message>
</context>
<context>
    <name>ErrorLog</name>
    <message>
        <source>No error</source>
        <translation>No error</translation>
    </message>
    <message>
        <source>Setting clamped</source>
        <translation>Setting clamped</translation>
    </message>
    <message>
        <source>Invalid parameter</source>
        <translation>Invalid parameter</translation>
    </message>
    <message>
        <source>Too few parameters</source>
        <translation>Too few parameters</translation>
    </message>
    <message>
        <source>Undefined header</source>
        <translation>Undefined header</translation>
    </message>
    <message>
        <source>Unsupported</source>
        <translation>Unsupported</translation>
    </message>
    <message>
        <source>Invalid operation</source>
        <translation>Invalid operation</translation>
    </message>
    <message>
        <source>Command line error</source>
        <translation>Command line error</translation>
    </message>
    <message>
        <source>Unable to save file</source>
        <translation>Unable to save file</translation>
    </message>
    <message>
        <source>Unknown error</source>
        <translation>Unknown error</translation>
    </message>
    <message>
        <source>No Error</source>
        <translation>No Error</translation>
    </message>
</context>
<context>
    <name>ErrorLogDialog</name>
    <message>
        <source>Error Info</source>
        <translation>Fehlerinfo</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>No Errors</source>
        <translation>Keine Fehler</translation>
    </message>
</context>
<context>
    <name>FactoryCal</name>
    <message>
        <source>The calibration belongs to instrument %1.</source>
        <translation>Die Kalibrierung gehört zum Gerät %1.</translation>
    </message>
    <message>
        <source>The instrument did not give its calibration data.</source>
        <translation>Das Gerät hat seine Kalibrierdaten nicht geliefert.</translation>
    </message>
    <message>
        <source>The data end inside the header.</source>
        <translation>Die Daten enden innerhalb des Kopfteils.</translation>
    </message>
    <message>
        <source>The data are not a factory calibration.</source>
        <translation>Die Daten sind keine Werkskalibrierung.</translation>
    </message>
    <message>
        <source>Block format version %1 is not known.</source>
        <translation>Die Blockformat-Version %1 ist unbekannt.</translation>
    </message>
    <message>
        <source>The header is damaged.</source>
        <translation>Der Kopfteil ist beschädigt.</translation>
    </message>
    <message>
        <source>The data end inside the calibration.</source>
        <translation>Die Daten enden innerhalb der Kalibrierung.</translation>
    </message>
    <message>
        <source>The checksum does not match.</source>
        <translation>Die Prüfsumme stimmt nicht überein.</translation>
    </message>
    <message>
        <source>The calibration does not decompress.</source>
        <translation>Die Kalibrierung lässt sich nicht entpacken.</translation>
    </message>
    <message>
        <source>The calibration is too large for the instrument.</source>
        <translation>Die Kalibrierung ist zu groß für das Gerät.</translation>
    </message>
    <message>
        <source>The calibration could not be written out.</source>
        <translation>Die Kalibrierung konnte nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>The calibration could not be read in.</source>
        <translation>Die Kalibrierung konnte nicht eingelesen werden.</translation>
    </message>
    <message>
        <source>The calibration holds no measured standards.</source>
        <translation>Die Kalibrierung enthält keine gemessenen Standards.</translation>
    </message>
    <message>
        <source>A factory calibration must be a two-port calibration.</source>
        <translation>Eine Werkskalibrierung muss eine Zweitor-Kalibrierung sein.</translation>
    </message>
    <message>
        <source>The measured standards do not fit the calibration&apos;s sweep.</source>
        <translation>Die gemessenen Standards passen nicht zum Sweep der Kalibrierung.</translation>
    </message>
    <message>
        <source>There is no file %1.</source>
        <translation>Die Datei %1 existiert nicht.</translation>
    </message>
    <message>
        <source>Unable to write %1.</source>
        <translation>%1 kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>Neither the instrument nor %1 holds a factory calibration.</source>
        <translation>Weder das Gerät noch %1 enthält eine Werkskalibrierung.</translation>
    </message>
    <message>
        <source>The instrument did not take the calibration.</source>
        <translation>Das Gerät hat die Kalibrierung nicht übernommen.</translation>
    </message>
    <message>
        <source>Invalid factory calibration data.</source>
        <translation>Ungültige Daten der Werkskalibrierung.</translation>
    </message>
    <message>
        <source>Missing factory calibration.</source>
        <translation>Werkskalibrierung fehlt.</translation>
    </message>
</context>
<context>
    <name>FanControlDialog</name>
    <message>
        <source>Fan Control</source>
        <translation>Lüftersteuerung</translation>
    </message>
    <message>
        <source>Manual Override</source>
        <translation>Manuelle Steuerung</translation>
    </message>
    <message>
        <source>Temperature Setpoint</source>
        <translation>Temperatursollwert</translation>
    </message>
    <message>
        <source>Fan Speed</source>
        <translation>Lüfterdrehzahl</translation>
    </message>
    <message>
        <source>Save as Default</source>
        <translation>Als Standard speichern</translation>
    </message>
    <message>
        <source>Start with these fan settings from now on.</source>
        <translation>Künftig mit diesen Lüftereinstellungen starten.</translation>
    </message>
    <message>
        <source>In Force</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>No instrument: the settings apply once one is connected.</source>
        <translation>Kein Gerät: Die Einstellungen gelten, sobald eines verbunden ist.</translation>
    </message>
    <message>
        <source>Holding %1 °C</source>
        <translation>Hält %1 °C</translation>
    </message>
    <message>
        <source>Fan at %1 %</source>
        <translation>Lüfter bei %1 %</translation>
    </message>
</context>
<context>
    <name>FixtureControlPanel</name>
    <message>
        <source>Port Extension</source>
        <translation>Port-Verlängerung</translation>
    </message>
    <message>
        <source>Config Port Extension</source>
        <translation>Port-Verlängerung einstellen</translation>
    </message>
    <message>
        <source>De-embedding</source>
        <translation>De-Embedding</translation>
    </message>
    <message>
        <source>Embedding</source>
        <translation>Embedding</translation>
    </message>
    <message>
        <source>Load Port %1 S2P</source>
        <translation>S2P für Port %1 laden</translation>
    </message>
    <message>
        <source>Clear Port %1</source>
        <translation>Port %1 leeren</translation>
    </message>
    <message>
        <source>No File Loaded</source>
        <translation>Keine Datei geladen</translation>
    </message>
</context>
<context>
    <name>KXPlotFrame</name>
    <message>
        <source>Plot %1</source>
        <translation>Diagramm %1</translation>
    </message>
    <message>
        <source>Plot %1: %2</source>
        <translation>Diagramm %1: %2</translation>
    </message>
    <message>
        <source>Close Plot</source>
        <translation>Diagramm schließen</translation>
    </message>
</context>
<context>
    <name>LimitLinePanel</name>
    <message>
        <source>Define Limits</source>
        <translation>Grenzwerte festlegen</translation>
    </message>
    <message>
        <source>Define Ripple Limits</source>
        <translation>Welligkeitsgrenzen festlegen</translation>
    </message>
    <message>
        <source>Enabled</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Show</source>
        <translation>Anzeigen</translation>
    </message>
    <message>
        <source>Sound</source>
        <translation>Ton</translation>
    </message>
    <message>
        <source>Ripple Enabled</source>
        <translation>Welligkeit aktiv</translation>
    </message>
    <message>
        <source>Ripple Show</source>
        <translation>Welligkeit anzeigen</translation>
    </message>
</context>
<context>
    <name>LimitLineRangeEditor</name>
    <message>
        <source>Edit Limit Line Ranges</source>
        <translation>Grenzlinienbereiche bearbeiten</translation>
    </message>
    <message>
        <source>Limit Line Table</source>
        <translation>Grenzlinientabelle</translation>
    </message>
    <message>
        <source>Start Offset</source>
        <translation>Startversatz</translation>
    </message>
    <message>
        <source>Stop Offset</source>
        <translation>Stoppversatz</translation>
    </message>
</context>
<context>
    <name>LimitTables</name>
    <message>
        <source>No ranges configured, cancelling.</source>
        <translation>Keine Bereiche festgelegt, Abbruch.</translation>
    </message>
    <message>
        <source>Unable to write file.</source>
        <translation>Datei kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>Unable to read file.</source>
        <translation>Datei kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>Invalid file type.</source>
        <translation>Ungültiger Dateityp.</translation>
    </message>
    <message>
        <source>Invalid number of parameters, should be multiple of %1</source>
        <translation>Ungültige Anzahl von Parametern, erwartet wird ein Vielfaches von %1</translation>
    </message>
    <message>
        <source>Min</source>
        <translation>Min</translation>
    </message>
    <message>
        <source>Max</source>
        <translation>Max</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>Absolute</source>
        <translation>Absolut</translation>
    </message>
    <message>
        <source>Margin</source>
        <translation>Abstand</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Close Plot</source>
        <translation>Diagramm schließen</translation>
    </message>
    <message numerus="yes">
        <source>Closing the plot deletes the %n trace(s) on it. Close the plot?</source>
        <translation>
            <numerusform>Beim Schließen des Diagramms wird %n Messkurve darin gelöscht. Diagramm schließen?</numerusform>
            <numerusform>Beim Schließen des Diagramms werden %n Messkurven darin gelöscht. Diagramm schließen?</numerusform>
        </translation>
    </message>
    <message>
        <source>Kestrix Vector Network Analysis Software</source>
        <translation>Kestrix Software für vektorielle Netzwerkanalyse</translation>
    </message>
    <message>
        <source>Channels</source>
        <translation>Kanäle</translation>
    </message>
    <message>
        <source>Trigger</source>
        <translation>Trigger</translation>
    </message>
    <message>
        <source>Stimulus</source>
        <translation>Stimulus</translation>
    </message>
    <message>
        <source>Calibration</source>
        <translation>Kalibrierung</translation>
    </message>
    <message>
        <source>Fixtures</source>
        <translation>Messadapter</translation>
    </message>
    <message>
        <source>Traces</source>
        <translation>Messkurven</translation>
    </message>
    <message>
        <source>Markers</source>
        <translation>Marker</translation>
    </message>
    <message>
        <source>Math</source>
        <translation>Mathematik</translation>
    </message>
    <message>
        <source>Limits</source>
        <translation>Grenzwerte</translation>
    </message>
    <message>
        <source>Time Domain</source>
        <translation>Zeitbereich</translation>
    </message>
    <message>
        <source>Time Gating</source>
        <translation>Zeitfenster</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Preset</source>
        <translation>Grundeinstellung</translation>
    </message>
    <message>
        <source>Connecting Device</source>
        <translation>Gerät wird verbunden</translation>
    </message>
    <message>
        <source>Device Status</source>
        <translation>Gerätestatus</translation>
    </message>
    <message>
        <source>No Kestrix VNA was detected.

Would you like to launch the demo device?</source>
        <translation>Es wurde kein Kestrix-VNA gefunden.

Möchten Sie das Demogerät starten?</translation>
    </message>
    <message>
        <source>Unable to load demo device.</source>
        <translation>Das Demogerät kann nicht geladen werden.</translation>
    </message>
    <message>
        <source>Demo Device</source>
        <translation>Demogerät</translation>
    </message>
    <message>
        <source>No device found.</source>
        <translation>Kein Gerät gefunden.</translation>
    </message>
    <message>
        <source>Cal:Disabled</source>
        <translation>Kal:Deaktiviert</translation>
    </message>
    <message>
        <source>Cal:Full 2-Port</source>
        <translation>Kal:Voll 2-Port</translation>
    </message>
    <message>
        <source>Cal:Full 1-Port</source>
        <translation>Kal:Voll 1-Port</translation>
    </message>
    <message>
        <source>Cal:Interpolated</source>
        <translation>Kal:Interpoliert</translation>
    </message>
    <message>
        <source>Cal:Changed</source>
        <translation>Kal:Geändert</translation>
    </message>
    <message>
        <source>Cal:Factory</source>
        <translation>Kal:Werk</translation>
    </message>
    <message>
        <source>Cal:Factory (Disabled)</source>
        <translation>Kal:Werk (deaktiviert)</translation>
    </message>
    <message>
        <source>Cal:None</source>
        <translation>Kal:Keine</translation>
    </message>
    <message>
        <source>Confirmation</source>
        <translation>Bestätigung</translation>
    </message>
    <message>
        <source>Are you sure you want to preset the instrument? The current measurement setup will be lost.</source>
        <translation>Soll das Gerät wirklich in die Grundeinstellung gesetzt werden? Die aktuelle Messeinstellung geht verloren.</translation>
    </message>
    <message>
        <source>The current measurement setup will be replaced. Continue?</source>
        <translation>Die aktuelle Messeinstellung wird ersetzt. Fortfahren?</translation>
    </message>
    <message>
        <source>Question</source>
        <translation>Frage</translation>
    </message>
    <message>
        <source>Unable to add channel.</source>
        <translation>Kanal kann nicht hinzugefügt werden.</translation>
    </message>
    <message>
        <source>All channels are currently active.</source>
        <translation>Alle Kanäle sind bereits in Gebrauch.</translation>
    </message>
    <message>
        <source>Confirm</source>
        <translation>Bestätigen</translation>
    </message>
    <message>
        <source>Are you sure you want to delete </source>
        <translation>Wirklich löschen: </translation>
    </message>
    <message>
        <source>Error Parsing SnP File</source>
        <translation>Fehler beim Lesen der SnP-Datei</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>No available channels to use, cancelling.</source>
        <translation>Kein freier Kanal verfügbar, Abbruch.</translation>
    </message>
    <message>
        <source>SnP File (*.s1p *.s2p)</source>
        <translation>SnP-Datei (*.s1p *.s2p)</translation>
    </message>
    <message>
        <source>Specify SnP File</source>
        <translation>SnP-Datei angeben</translation>
    </message>
    <message>
        <source>Export SnP File</source>
        <translation>SnP-Datei exportieren</translation>
    </message>
    <message>
        <source>Toolbar</source>
        <translation>Werkzeugleiste</translation>
    </message>
    <message>
        <source>Save Instrument State</source>
        <translation>Gerätezustand speichern</translation>
    </message>
    <message>
        <source>Load Instrument State</source>
        <translation>Gerätezustand laden</translation>
    </message>
    <message>
        <source>Add Trace</source>
        <translation>Messkurve hinzufügen</translation>
    </message>
    <message>
        <source>Add Plot</source>
        <translation>Diagramm hinzufügen</translation>
    </message>
    <message>
        <source>Auto Scale</source>
        <translation>Autoskalierung</translation>
    </message>
    <message>
        <source>Auto Scale All</source>
        <translation>Alle autoskalieren</translation>
    </message>
    <message>
        <source>Save As Image</source>
        <translation>Als Bild speichern</translation>
    </message>
    <message>
        <source>Print</source>
        <translation>Drucken</translation>
    </message>
    <message>
        <source>Single</source>
        <translation>Einzeln</translation>
    </message>
    <message>
        <source>Continuous</source>
        <translation>Fortlaufend</translation>
    </message>
    <message>
        <source>File</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>Quick Setup</source>
        <translation>Schnelleinrichtung</translation>
    </message>
    <message>
        <source>S11</source>
        <translation>S11</translation>
    </message>
    <message>
        <source>S21</source>
        <translation>S21</translation>
    </message>
    <message>
        <source>Full 2 port</source>
        <translation>Voll 2-Port</translation>
    </message>
    <message>
        <source>Recall Instrument State</source>
        <translation>Gerätezustand abrufen</translation>
    </message>
    <message>
        <source>Import .SnP</source>
        <translation>.SnP importieren</translation>
    </message>
    <message>
        <source>Export .SnP</source>
        <translation>.SnP exportieren</translation>
    </message>
    <message>
        <source>Save as Image</source>
        <translation>Als Bild speichern</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Verbinden</translation>
    </message>
    <message>
        <source>Disconnect Device</source>
        <translation>Gerät trennen</translation>
    </message>
    <message>
        <source>Exit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>New Channel</source>
        <translation>Neuer Kanal</translation>
    </message>
    <message>
        <source>New Channel + Trace</source>
        <translation>Neuer Kanal + Messkurve</translation>
    </message>
    <message>
        <source>New Channel + Trace + Window</source>
        <translation>Neuer Kanal + Messkurve + Fenster</translation>
    </message>
    <message>
        <source>Copy Channel</source>
        <translation>Kanal kopieren</translation>
    </message>
    <message>
        <source>Delete Channel</source>
        <translation>Kanal löschen</translation>
    </message>
    <message>
        <source>Active</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Start New Calibration (Mechanical)</source>
        <translation>Neue Kalibrierung starten (mechanisch)</translation>
    </message>
    <message>
        <source>Start New Calibration (Electronic)</source>
        <translation>Neue Kalibrierung starten (elektronisch)</translation>
    </message>
    <message>
        <source>Load Calibration</source>
        <translation>Kalibrierung laden</translation>
    </message>
    <message>
        <source>Unload Calibration</source>
        <translation>Kalibrierung entladen</translation>
    </message>
    <message>
        <source>Calibration Enabled</source>
        <translation>Kalibrierung aktiv</translation>
    </message>
    <message>
        <source>Interpolation Enabled</source>
        <translation>Interpolation aktiv</translation>
    </message>
    <message>
        <source>Use Calibration Stimulus</source>
        <translation>Stimulus der Kalibrierung übernehmen</translation>
    </message>
    <message>
        <source>Calibration Properties</source>
        <translation>Eigenschaften der Kalibrierung</translation>
    </message>
    <message>
        <source>Manage Calibration Kits</source>
        <translation>Kalibriersätze verwalten</translation>
    </message>
    <message>
        <source>Reference</source>
        <translation>Referenz</translation>
    </message>
    <message>
        <source>Internal</source>
        <translation>Intern</translation>
    </message>
    <message>
        <source>External</source>
        <translation>Extern</translation>
    </message>
    <message>
        <source>Spur Reject</source>
        <translation>Störlinienunterdrückung</translation>
    </message>
    <message>
        <source>Utilities</source>
        <translation>Werkzeuge</translation>
    </message>
    <message>
        <source>Error Info</source>
        <translation>Fehlerinfo</translation>
    </message>
    <message>
        <source>SCPI Log</source>
        <translation>SCPI-Protokoll</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Hilfe</translation>
    </message>
    <message>
        <source>About</source>
        <translation>Über</translation>
    </message>
    <message>
        <source>Image Files (*.png *.jpg *.bmp)</source>
        <translation>Bilddateien (*.png *.jpg *.bmp)</translation>
    </message>
    <message>
        <source>Unable to save the image.</source>
        <translation>Das Bild kann nicht gespeichert werden.</translation>
    </message>
    <message>
        <source>No Devices Found</source>
        <translation>Keine Geräte gefunden</translation>
    </message>
    <message>
        <source>No device is connected.</source>
        <translation>Es ist kein Gerät verbunden.</translation>
    </message>
    <message>
        <source>Theme</source>
        <translation>Farbschema</translation>
    </message>
    <message>
        <source>Light</source>
        <translation>Hell</translation>
    </message>
    <message>
        <source>Dark</source>
        <translation>Dunkel</translation>
    </message>
    <message>
        <source>Preferences</source>
        <translation>Voreinstellungen</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Warnung</translation>
    </message>
    <message>
        <source>The current stimulus settings are not lowpass compatible. Reverting</source>
        <translation>Die aktuellen Stimulus-Einstellungen sind nicht tiefpasstauglich. Wird zurückgesetzt</translation>
    </message>
    <message>
        <source>CSV File (*.csv)</source>
        <translation>CSV-Datei (*.csv)</translation>
    </message>
    <message>
        <source>Export Trace</source>
        <translation>Messkurve exportieren</translation>
    </message>
    <message>
        <source>Connect a device by USB and open this menu again.</source>
        <translation>Schließen Sie ein Gerät per USB an und öffnen Sie dieses Menü erneut.</translation>
    </message>
    <message>
        <source>VNA Cal File (*.vnacal)</source>
        <translation>VNA-Kalibrierdatei (*.vnacal)</translation>
    </message>
    <message>
        <source>System Verification</source>
        <translation>Systemverifikation</translation>
    </message>
    <message>
        <source>The active channel holds no calibration.</source>
        <translation>Der aktive Kanal enthält keine Kalibrierung.</translation>
    </message>
    <message>
        <source>A calibration is already in progress.</source>
        <translation>Es läuft bereits eine Kalibrierung.</translation>
    </message>
    <message>
        <source>No device connected.</source>
        <translation>Kein Gerät verbunden.</translation>
    </message>
    <message>
        <source>Calibration Kit Incomplete</source>
        <translation>Kalibriersatz unvollständig</translation>
    </message>
    <message>
        <source>Unable to load the calibration kit %1.</source>
        <translation>Der Kalibriersatz %1 kann nicht geladen werden.</translation>
    </message>
    <message>
        <source>The calibration kit selected cannot perform this calibration.
Please ensure all measurement classes are assigned for the specified calibration type.</source>
        <translation>Mit dem gewählten Kalibriersatz ist diese Kalibrierung nicht möglich.
Bitte stellen Sie sicher, dass für die gewählte Kalibrierart alle Messklassen belegt sind.</translation>
    </message>
    <message>
        <source>Specify Calibration File</source>
        <translation>Kalibrierdatei angeben</translation>
    </message>
    <message>
        <source>File name invalid, are you sure you wish to cancel?</source>
        <translation>Ungültiger Dateiname, wirklich abbrechen?</translation>
    </message>
    <message>
        <source>Overwrite Calibration?</source>
        <translation>Kalibrierung überschreiben?</translation>
    </message>
    <message>
        <source>Calibration already loaded. Are you sure you want to override the existing cal?</source>
        <translation>Es ist bereits eine Kalibrierung geladen. Soll die vorhandene Kalibrierung wirklich ersetzt werden?</translation>
    </message>
    <message>
        <source>Error Loading Calibration File</source>
        <translation>Fehler beim Laden der Kalibrierdatei</translation>
    </message>
    <message>
        <source>Aborting operation.</source>
        <translation>Vorgang wird abgebrochen.</translation>
    </message>
    <message>
        <source>Unable to find the calibration file %1.</source>
        <translation>Die Kalibrierdatei %1 wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>The calibration was made on the instrument with serial number %1, not on the one connected.</source>
        <translation>Die Kalibrierung wurde am Gerät mit der Seriennummer %1 aufgenommen, nicht am verbundenen Gerät.</translation>
    </message>
    <message>
        <source>Stimulus Settings</source>
        <translation>Stimulus-Einstellungen</translation>
    </message>
    <message>
        <source>Do you want to load the stimulus settings from the cal?</source>
        <translation>Sollen die Stimulus-Einstellungen aus der Kalibrierung geladen werden?</translation>
    </message>
    <message>
        <source>No calibration loaded.</source>
        <translation>Keine Kalibrierung geladen.</translation>
    </message>
    <message>
        <source>Name: %1
Type: %2
Cal Kit: %3
Date: %4
Temperature: %5 C
Serial Number: %6
Start: %7
Stop: %8
Points: %9</source>
        <translation>Name: %1
Art: %2
Kalibriersatz: %3
Datum: %4
Temperatur: %5 °C
Seriennummer: %6
Start: %7
Stopp: %8
Punkte: %9</translation>
    </message>
    <message>
        <source>Remote calibration not active. Cannot perform action</source>
        <translation>Remote calibration not active. Cannot perform action</translation>
    </message>
    <message>
        <source>Calibration step in progress. Cannot perform action</source>
        <translation>Calibration step in progress. Cannot perform action</translation>
    </message>
    <message>
        <source>Attempting to measure THRU on SOL calibration.</source>
        <translation>Attempting to measure THRU on SOL calibration.</translation>
    </message>
    <message>
        <source>Attempting to measure ISO on SOL calibration.</source>
        <translation>Attempting to measure ISO on SOL calibration.</translation>
    </message>
    <message>
        <source>Expected valid port number.</source>
        <translation>Expected valid port number.</translation>
    </message>
    <message>
        <source>Unable to find specified cal kit.</source>
        <translation>Unable to find specified cal kit.</translation>
    </message>
    <message>
        <source>Calibration step in progress. Cannot save.</source>
        <translation>Calibration step in progress. Cannot save.</translation>
    </message>
    <message>
        <source>Calibration not complete. Cannot save.</source>
        <translation>Calibration not complete. Cannot save.</translation>
    </message>
    <message>
        <source>Calibration Kit (*.skt)</source>
        <translation>Kalibriersatz (*.skt)</translation>
    </message>
    <message>
        <source>System calibration kits are read-only. Copy the kit to change it.</source>
        <translation>System-Kalibriersätze sind schreibgeschützt. Kopieren Sie den Satz, um ihn zu ändern.</translation>
    </message>
    <message>
        <source>Calibration Kit</source>
        <translation>Kalibriersatz</translation>
    </message>
    <message>
        <source>New Kit</source>
        <translation>Neuer Kalibriersatz</translation>
    </message>
    <message>
        <source>Are you sure you want to delete %1?</source>
        <translation>Soll %1 wirklich gelöscht werden?</translation>
    </message>
    <message>
        <source>Import Calibration Kit</source>
        <translation>Kalibriersatz importieren</translation>
    </message>
    <message>
        <source>Export Calibration Kit</source>
        <translation>Kalibriersatz exportieren</translation>
    </message>
    <message>
        <source>No sweep is running on this channel.</source>
        <translation>In diesem Kanal läuft kein Sweep.</translation>
    </message>
    <message>
        <source>Measuring</source>
        <translation>Messung läuft</translation>
    </message>
    <message>
        <source>No sweep arrived; nothing was measured.</source>
        <translation>Kein Sweep eingetroffen; nichts gemessen.</translation>
    </message>
    <message>
        <source>The channel is not calibrated.</source>
        <translation>Der Kanal ist nicht kalibriert.</translation>
    </message>
    <message>
        <source>Invalid ID</source>
        <translation>Ungültige ID</translation>
    </message>
    <message>
        <source>Characterize Standard</source>
        <translation>Standard charakterisieren</translation>
    </message>
    <message>
        <source>Standard %1 was added to %2.</source>
        <translation>Standard %1 wurde zu %2 hinzugefügt.</translation>
    </message>
    <message>
        <source>The tolerance must be above 0.</source>
        <translation>Die Toleranz muss größer als 0 sein.</translation>
    </message>
    <message>
        <source>The sweep does not overlap the device&apos;s data.</source>
        <translation>Der Sweep überschneidet sich nicht mit den Daten des Verifikationsobjekts.</translation>
    </message>
    <message>
        <source>Verification Device Data</source>
        <translation>Daten des Verifikationsobjekts</translation>
    </message>
    <message>
        <source>Largest vector difference allowed:</source>
        <translation>Größte zulässige Vektordifferenz:</translation>
    </message>
    <message>
        <source>Verification passed.</source>
        <translation>Verifikation bestanden.</translation>
    </message>
    <message>
        <source>Verification failed.</source>
        <translation>Verifikation nicht bestanden.</translation>
    </message>
    <message>
        <source>Factory Calibration</source>
        <translation>Werkskalibrierung</translation>
    </message>
    <message>
        <source>No instrument is connected.</source>
        <translation>Es ist kein Gerät verbunden.</translation>
    </message>
    <message>
        <source>Writing Factory Calibration</source>
        <translation>Werkskalibrierung wird geschrieben</translation>
    </message>
    <message>
        <source>Calibration File (*.vnacal)</source>
        <translation>Kalibrierdatei (*.vnacal)</translation>
    </message>
    <message>
        <source>Write Factory Calibration</source>
        <translation>Werkskalibrierung schreiben</translation>
    </message>
    <message>
        <source>Replace the instrument&apos;s factory calibration with %1?</source>
        <translation>Die Werkskalibrierung des Geräts durch %1 ersetzen?</translation>
    </message>
    <message>
        <source>S2P File (*.s2p)</source>
        <translation>S2P-Datei (*.s2p)</translation>
    </message>
    <message>
        <source>Specify S2P File</source>
        <translation>S2P-Datei angeben</translation>
    </message>
    <message>
        <source>Maury Microwave uCal</source>
        <translation>Maury Microwave uCal</translation>
    </message>
    <message>
        <source>Direct Controls</source>
        <translation>Direktsteuerung</translation>
    </message>
    <message>
        <source>User Characterization</source>
        <translation>Benutzercharakterisierung</translation>
    </message>
    <message>
        <source>Unable to connect Maury UCal Module.
Unable to proceed with calibration.</source>
        <translation>Verbindung zum Maury UCal-Modul nicht möglich.
Kalibrierung kann nicht fortgesetzt werden.</translation>
    </message>
    <message>
        <source>Unable to read calibration data from uCal module.
Unable to proceed.</source>
        <translation>Kalibrierdaten des uCal-Moduls können nicht gelesen werden.
Fortsetzen nicht möglich.</translation>
    </message>
    <message>
        <source>Cannot find Maury UCal Module.
Unable to proceed with calibration.</source>
        <translation>Maury UCal-Modul nicht gefunden.
Kalibrierung kann nicht fortgesetzt werden.</translation>
    </message>
    <message>
        <source>Notification</source>
        <translation>Hinweis</translation>
    </message>
    <message>
        <source>Reading calibration data, please wait...</source>
        <translation>Kalibrierdaten werden gelesen, bitte warten...</translation>
    </message>
    <message>
        <source>Fan Control</source>
        <translation>Lüftersteuerung</translation>
    </message>
    <message>
        <source>Output Generator Controls</source>
        <translation>Signalgenerator-Steuerung</translation>
    </message>
    <message>
        <source>User Manual</source>
        <translation>Benutzerhandbuch</translation>
    </message>
    <message>
        <source>Kestrix Website</source>
        <translation>Kestrix-Website</translation>
    </message>
    <message>
        <source>Support Forums</source>
        <translation>Support-Foren</translation>
    </message>
    <message>
        <source>There is no channel %1.</source>
        <translation>Es gibt keinen Kanal %1.</translation>
    </message>
    <message>
        <source>Output generator: port %1, %2, %3 dB</source>
        <translation>Signalgenerator: Port %1, %2, %3 dB</translation>
    </message>
    <message>
        <source>The user manual was not found in %1.</source>
        <translation>Das Benutzerhandbuch wurde in %1 nicht gefunden.</translation>
    </message>
    <message>
        <source>No program could be started to show %1.</source>
        <translation>Es konnte kein Programm gestartet werden, um %1 anzuzeigen.</translation>
    </message>
    <message>
        <source>Version %1 is available</source>
        <translation>Version %1 ist verfügbar</translation>
    </message>
    <message>
        <source>Needs a connected instrument and no calibration in progress.</source>
        <translation>Benötigt ein verbundenes Gerät und keine laufende Kalibrierung.</translation>
    </message>
    <message>
        <source>Instrument State File (*.ini)</source>
        <translation>Gerätezustandsdatei (*.ini)</translation>
    </message>
    <message>
        <source>Saved Preset: </source>
        <translation>Voreinstellung gespeichert: </translation>
    </message>
    <message>
        <source>Could not write %1</source>
        <translation>%1 konnte nicht geschrieben werden</translation>
    </message>
    <message>
        <source>Invalid file format</source>
        <translation>Ungültiges Dateiformat</translation>
    </message>
    <message>
        <source>Unsupported file version, unable to load file.</source>
        <translation>Nicht unterstützte Dateiversion, die Datei kann nicht geladen werden.</translation>
    </message>
    <message>
        <source>Loaded Preset: </source>
        <translation>Voreinstellung geladen: </translation>
    </message>
</context>
<context>
    <name>MarkerControlPanel</name>
    <message>
        <source>Disable All on Trace</source>
        <translation>Alle auf der Messkurve aus</translation>
    </message>
    <message>
        <source>Disable All on Channel</source>
        <translation>Alle im Kanal aus</translation>
    </message>
    <message>
        <source>Disable All</source>
        <translation>Alle aus</translation>
    </message>
    <message>
        <source>R</source>
        <translation>R</translation>
    </message>
    <message>
        <source>Trace</source>
        <translation>Messkurve</translation>
    </message>
    <message>
        <source>Marker</source>
        <translation>Marker</translation>
    </message>
    <message>
        <source>Enabled</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Fixed</source>
        <translation>Fest</translation>
    </message>
    <message>
        <source>Delta</source>
        <translation>Delta</translation>
    </message>
    <message>
        <source>Frequency</source>
        <translation>Frequenz</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Readout</source>
        <translation>Anzeige</translation>
    </message>
    <message>
        <source>Marker → Ref</source>
        <translation>Marker → Ref</translation>
    </message>
    <message>
        <source>Marker → Start</source>
        <translation>Marker → Start</translation>
    </message>
    <message>
        <source>Marker → Stop</source>
        <translation>Marker → Stopp</translation>
    </message>
    <message>
        <source>Marker → Center</source>
        <translation>Marker → Mitte</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Suche</translation>
    </message>
    <message>
        <source>Peak Search</source>
        <translation>Maximum suchen</translation>
    </message>
    <message>
        <source>Min Peak</source>
        <translation>Minimum suchen</translation>
    </message>
    <message>
        <source>Peak Left</source>
        <translation>Spitze links</translation>
    </message>
    <message>
        <source>Peak Right</source>
        <translation>Spitze rechts</translation>
    </message>
    <message>
        <source>Next Peak</source>
        <translation>Nächste Spitze</translation>
    </message>
    <message>
        <source>Threshold</source>
        <translation>Schwelle</translation>
    </message>
    <message>
        <source>Excursion</source>
        <translation>Hub</translation>
    </message>
    <message>
        <source>Tracking</source>
        <translation>Nachführung</translation>
    </message>
    <message>
        <source>Coupling</source>
        <translation>Kopplung</translation>
    </message>
    <message>
        <source>Bandwidth</source>
        <translation>Bandbreite</translation>
    </message>
    <message>
        <source>Bandwidth Search</source>
        <translation>Bandbreitensuche</translation>
    </message>
    <message>
        <source>BW Threshold</source>
        <translation>BB-Schwelle</translation>
    </message>
    <message>
        <source>BW Tracking</source>
        <translation>BB-Nachführung</translation>
    </message>
    <message>
        <source>The reference marker cannot be a delta marker.</source>
        <translation>Der Referenzmarker kann kein Deltamarker sein.</translation>
    </message>
    <message>
        <source>The trace is transformed to time: place the marker by its time.</source>
        <translation>Die Messkurve ist in den Zeitbereich transformiert: Marker über die Zeit setzen.</translation>
    </message>
    <message>
        <source>Available when the trace&apos;s time transform is on.</source>
        <translation>Verfügbar, wenn die Zeitbereichstransformation der Messkurve eingeschaltet ist.</translation>
    </message>
    <message>
        <source>Not available for Smith chart formats.</source>
        <translation>Für Smith-Diagramm-Formate nicht verfügbar.</translation>
    </message>
</context>
<context>
    <name>MathPanel</name>
    <message>
        <source>Data → Memory</source>
        <translation>Daten → Speicher</translation>
    </message>
    <message>
        <source>Math Mem</source>
        <translation>Speicher</translation>
    </message>
    <message>
        <source>Math Op</source>
        <translation>Rechenoperation</translation>
    </message>
    <message>
        <source>Math Interpolate</source>
        <translation>Interpolieren</translation>
    </message>
    <message>
        <source>Show Memory Trace</source>
        <translation>Speicherkurve anzeigen</translation>
    </message>
    <message>
        <source>Smoothing</source>
        <translation>Glättung</translation>
    </message>
    <message>
        <source>Aperture (%)</source>
        <translation>Apertur (%)</translation>
    </message>
    <message>
        <source>Stats Enabled</source>
        <translation>Statistik aktiv</translation>
    </message>
    <message>
        <source>Auto Range</source>
        <translation>Automatischer Bereich</translation>
    </message>
    <message>
        <source>Range Start</source>
        <translation>Bereichsanfang</translation>
    </message>
    <message>
        <source>Range Stop</source>
        <translation>Bereichsende</translation>
    </message>
    <message>
        <source>Electrical Delay</source>
        <translation>Elektrische Verzögerung</translation>
    </message>
    <message>
        <source>Mag Offset</source>
        <translation>Betragsversatz</translation>
    </message>
    <message>
        <source>Mag Slope</source>
        <translation>Betragssteigung</translation>
    </message>
    <message>
        <source>Phase Offset</source>
        <translation>Phasenversatz</translation>
    </message>
    <message>
        <source>Equation Enabled</source>
        <translation>Formel aktiv</translation>
    </message>
    <message>
        <source>Equation Editor</source>
        <translation>Formeleditor</translation>
    </message>
    <message>
        <source>Velocity Factor</source>
        <translation>Verkürzungsfaktor</translation>
    </message>
    <message>
        <source>Length</source>
        <translation>Länge</translation>
    </message>
    <message>
        <source>Stored</source>
        <translation>Gespeichert</translation>
    </message>
    <message>
        <source>Empty</source>
        <translation>Leer</translation>
    </message>
    <message>
        <source>Turn off Auto Range to set the range.</source>
        <translation>Automatischen Bereich ausschalten, um den Bereich einzustellen.</translation>
    </message>
</context>
<context>
    <name>MauryUCal</name>
    <message>
        <source>Port 1 Short</source>
        <translation>Port 1 Kurzschluss</translation>
    </message>
    <message>
        <source>Port 1 Open</source>
        <translation>Port 1 Leerlauf</translation>
    </message>
    <message>
        <source>Port 1 Load</source>
        <translation>Port 1 Abschluss</translation>
    </message>
    <message>
        <source>Port 2 Short</source>
        <translation>Port 2 Kurzschluss</translation>
    </message>
    <message>
        <source>Port 2 Open</source>
        <translation>Port 2 Leerlauf</translation>
    </message>
    <message>
        <source>Port 2 Load</source>
        <translation>Port 2 Abschluss</translation>
    </message>
    <message>
        <source>Thru</source>
        <translation>Durchverbindung</translation>
    </message>
</context>
<context>
    <name>MauryUCalControlsDlg</name>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
    <message>
        <source>Thru</source>
        <translation>Durchverbindung</translation>
    </message>
    <message>
        <source>Manufacturer</source>
        <translation>Hersteller</translation>
    </message>
    <message>
        <source>Model</source>
        <translation>Modell</translation>
    </message>
    <message>
        <source>Serial Number</source>
        <translation>Seriennummer</translation>
    </message>
    <message>
        <source>Firmware</source>
        <translation>Firmware</translation>
    </message>
    <message>
        <source>Device</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>State</source>
        <translation>Zustand</translation>
    </message>
    <message>
        <source>Temperature</source>
        <translation>Temperatur</translation>
    </message>
    <message>
        <source>Maury uCal Controls</source>
        <translation>Steuerung des Maury uCal</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Verbinden</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>No Maury uCal device found.</source>
        <translation>Kein Gerät vom Typ Maury uCal gefunden.</translation>
    </message>
    <message>
        <source>Failed to connect to Maury uCal device.</source>
        <translation>Verbindung zum Maury uCal fehlgeschlagen.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Trennen</translation>
    </message>
    <message>
        <source>%1°C - %2</source>
        <translation>%1 °C - %2</translation>
    </message>
    <message>
        <source>In Range</source>
        <translation>Im Bereich</translation>
    </message>
    <message>
        <source>Out of Range</source>
        <translation>Außerhalb des Bereichs</translation>
    </message>
</context>
<context>
    <name>NewTraceDialog</name>
    <message>
        <source>New Trace</source>
        <translation>Neue Messkurve</translation>
    </message>
    <message>
        <source>Channel %1</source>
        <translation>Kanal %1</translation>
    </message>
    <message>
        <source>Meas</source>
        <translation>Messgröße</translation>
    </message>
    <message>
        <source>Plot %1</source>
        <translation>Diagramm %1</translation>
    </message>
    <message>
        <source>Create in New Plot</source>
        <translation>In neuem Diagramm anlegen</translation>
    </message>
    <message>
        <source>Channel</source>
        <translation>Kanal</translation>
    </message>
    <message>
        <source>Plot</source>
        <translation>Diagramm</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>Format</translation>
    </message>
</context>
<context>
    <name>OutputGeneratorControlsDialog</name>
    <message>
        <source>Output Generator Controls</source>
        <translation>Signalgenerator-Steuerung</translation>
    </message>
    <message>
        <source>Port 1</source>
        <translation>Port 1</translation>
    </message>
    <message>
        <source>Port 2</source>
        <translation>Port 2</translation>
    </message>
    <message>
        <source>Step Down</source>
        <translation>Schritt abwärts</translation>
    </message>
    <message>
        <source>Step Up</source>
        <translation>Schritt aufwärts</translation>
    </message>
    <message>
        <source>Output On</source>
        <translation>Ausgang ein</translation>
    </message>
    <message>
        <source>Port</source>
        <translation>Port</translation>
    </message>
    <message>
        <source>Frequency</source>
        <translation>Frequenz</translation>
    </message>
    <message>
        <source>Step Frequency</source>
        <translation>Schrittweite</translation>
    </message>
    <message>
        <source>Atten</source>
        <translation>Dämpfung</translation>
    </message>
    <message>
        <source>Needs an instrument: the demo device has no output generator.</source>
        <translation>Benötigt ein Gerät: Das Demo-Gerät hat keinen Signalgenerator.</translation>
    </message>
    <message>
        <source>The output is on: sweeps are paused until it is turned off.</source>
        <translation>Der Ausgang ist eingeschaltet: Sweeps ruhen, bis er ausgeschaltet wird.</translation>
    </message>
</context>
<context>
    <name>PanelBase</name>
    <message>
        <source>No trace is selected: add a trace to use these controls.</source>
        <translation>Keine Messkurve ausgewählt: Fügen Sie eine Messkurve hinzu, um diese Bedienelemente zu nutzen.</translation>
    </message>
</context>
<context>
    <name>PendingControlsPanel</name>
    <message>
        <source>Not available in this version of the program.</source>
        <translation>In dieser Programmversion nicht verfügbar.</translation>
    </message>
</context>
<context>
    <name>PreferencesDialog</name>
    <message>
        <source>Trace Anti-aliasing</source>
        <translation>Kantenglättung der Messkurven</translation>
    </message>
    <message>
        <source>Graticule Dotted</source>
        <translation>Raster gepunktet</translation>
    </message>
    <message>
        <source>Draw the graticule lines as dotted lines.</source>
        <translation>Rasterlinien gepunktet zeichnen.</translation>
    </message>
    <message>
        <source>Highlight Active Plot</source>
        <translation>Aktives Diagramm hervorheben</translation>
    </message>
    <message>
        <source>Highlight the plot containing the selected trace. Only occurs when more than 1 plot is visible.</source>
        <translation>Das Diagramm mit der ausgewählten Messkurve hervorheben. Nur wenn mehr als 1 Diagramm sichtbar ist.</translation>
    </message>
    <message>
        <source>Show Sweep Indicator</source>
        <translation>Sweep-Anzeiger zeigen</translation>
    </message>
    <message>
        <source>Draw the sweep indicator to show the current trace position.</source>
        <translation>Den Sweep-Anzeiger zeichnen, der die aktuelle Position auf der Messkurve zeigt.</translation>
    </message>
    <message>
        <source>Show Preset Confirmation Dialog</source>
        <translation>Grundeinstellung bestätigen lassen</translation>
    </message>
    <message>
        <source>Show Standard Selection With One Standard</source>
        <translation>Standardauswahl auch bei nur einem Standard zeigen</translation>
    </message>
    <message>
        <source>Show the standard selection dialog during a calibration even if there is only one standard associated with the measured class.</source>
        <translation>Den Dialog zur Standardauswahl während einer Kalibrierung auch dann zeigen, wenn der gemessenen Klasse nur ein Standard zugeordnet ist.</translation>
    </message>
    <message>
        <source>On Startup/Preset: RF Out Enabled</source>
        <translation>Bei Start/Grundeinstellung: HF-Ausgang ein</translation>
    </message>
    <message>
        <source>Include Control Panels in Screenshot</source>
        <translation>Bedienfelder ins Bildschirmfoto aufnehmen</translation>
    </message>
    <message>
        <source>SCPI Enabled</source>
        <translation>SCPI aktiv</translation>
    </message>
    <message>
        <source>Lockout Dialog Enabled</source>
        <translation>Sperrdialog aktiv</translation>
    </message>
    <message>
        <source>Log Enabled</source>
        <translation>Protokoll aktiv</translation>
    </message>
    <message>
        <source>Log FIFO Mode</source>
        <translation>Protokoll als Ringpuffer</translation>
    </message>
    <message>
        <source>Accent</source>
        <translation>Akzent</translation>
    </message>
    <message>
        <source>Background</source>
        <translation>Hintergrund</translation>
    </message>
    <message>
        <source>Active Background</source>
        <translation>Aktiver Hintergrund</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>Graticule</source>
        <translation>Raster</translation>
    </message>
    <message>
        <source>Preferences</source>
        <translation>Voreinstellungen</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
    <message>
        <source>General</source>
        <translation>Allgemein</translation>
    </message>
    <message>
        <source>Colors</source>
        <translation>Farben</translation>
    </message>
    <message>
        <source>Language</source>
        <translation>Sprache</translation>
    </message>
    <message>
        <source>SCPI</source>
        <translation>SCPI</translation>
    </message>
    <message>
        <source>Reset Preferences</source>
        <translation>Voreinstellungen zurücksetzen</translation>
    </message>
    <message>
        <source>Trace Thickness</source>
        <translation>Linienstärke der Messkurven</translation>
    </message>
    <message>
        <source>Graticule Width</source>
        <translation>Linienstärke des Rasters</translation>
    </message>
    <message>
        <source>On Startup/Preset: Power Level</source>
        <translation>Bei Start/Grundeinstellung: Leistungsstufe</translation>
    </message>
    <message>
        <source>Font Size*</source>
        <translation>Schriftgröße*</translation>
    </message>
    <message>
        <source>Right Side</source>
        <translation>Rechts</translation>
    </message>
    <message>
        <source>Left Side</source>
        <translation>Links</translation>
    </message>
    <message>
        <source>Control Panel Location</source>
        <translation>Lage der Bedienfelder</translation>
    </message>
    <message>
        <source>Use Factory Cal</source>
        <translation>Werkskalibrierung verwenden</translation>
    </message>
    <message>
        <source>*This setting requires a software restart to take effect.</source>
        <translation>*Diese Einstellung wirkt erst nach einem Neustart der Software.</translation>
    </message>
    <message>
        <source>Trace %1</source>
        <translation>Messkurve %1</translation>
    </message>
    <message>
        <source>Restore Defaults</source>
        <translation>Standardwerte wiederherstellen</translation>
    </message>
    <message>
        <source>Use Default Language</source>
        <translation>Systemsprache verwenden</translation>
    </message>
    <message>
        <source>English (en)</source>
        <translation>Englisch (en)</translation>
    </message>
    <message>
        <source>German (de)</source>
        <translation>Deutsch (de)</translation>
    </message>
    <message>
        <source>Select Language</source>
        <translation>Sprache wählen</translation>
    </message>
    <message>
        <source>Note: Will require software restart to take effect.</source>
        <translation>Hinweis: Wirkt erst nach einem Neustart der Software.</translation>
    </message>
    <message>
        <source>IP Port</source>
        <translation>IP-Port</translation>
    </message>
    <message>
        <source>Log Max Entries</source>
        <translation>Höchstzahl der Protokolleinträge</translation>
    </message>
    <message>
        <source>Log Max Message Length</source>
        <translation>Höchstlänge einer Protokollmeldung</translation>
    </message>
    <message>
        <source>*When enabled, newer messages replace the oldest.</source>
        <translation>*Wenn aktiv, ersetzen neue Meldungen die ältesten.</translation>
    </message>
    <message>
        <source>Restart Application</source>
        <translation>Anwendung neu starten</translation>
    </message>
    <message>
        <source>The default application settings will be restored the next time the application is started.</source>
        <translation>Die Standardeinstellungen werden beim nächsten Start der Anwendung wiederhergestellt.</translation>
    </message>
</context>
<context>
    <name>RangeEditor</name>
    <message>
        <source>Type</source>
        <translation>Typ</translation>
    </message>
    <message>
        <source>Start Freq</source>
        <translation>Startfrequenz</translation>
    </message>
    <message>
        <source>Stop Freq</source>
        <translation>Stoppfrequenz</translation>
    </message>
    <message>
        <source>Add Range</source>
        <translation>Bereich hinzufügen</translation>
    </message>
    <message>
        <source>Delete Range</source>
        <translation>Bereich löschen</translation>
    </message>
    <message>
        <source>Save Table</source>
        <translation>Tabelle speichern</translation>
    </message>
    <message>
        <source>Load Table</source>
        <translation>Tabelle laden</translation>
    </message>
    <message>
        <source>Clear Table</source>
        <translation>Tabelle leeren</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>RangeEditorBase</name>
    <message>
        <source>Range %1</source>
        <translation>Bereich %1</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Warnung</translation>
    </message>
    <message>
        <source>No ranges configured, cancelling.</source>
        <translation>Keine Bereiche festgelegt, Abbruch.</translation>
    </message>
    <message>
        <source>CSV (*.csv)</source>
        <translation>CSV (*.csv)</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
</context>
<context>
    <name>RippleLimitLineRangeEditor</name>
    <message>
        <source>Edit Ripple Limit Line Ranges</source>
        <translation>Bereiche der Welligkeitsgrenzen bearbeiten</translation>
    </message>
    <message>
        <source>Ripple Limit Line Table</source>
        <translation>Tabelle der Welligkeitsgrenzen</translation>
    </message>
    <message>
        <source>Max Ripple</source>
        <translation>Max. Welligkeit</translation>
    </message>
</context>
<context>
    <name>SCPIRemoteDialog</name>
    <message>
        <source>SCPI</source>
        <translation>SCPI</translation>
    </message>
    <message>
        <source>The software is in remote mode.<byte value="xd"/>
Close this dialog to return to local operation.</source>
        <translation>Die Software ist im Fernsteuerbetrieb.</translation>
    </message>
    <message>
        <source>   Return to Local   </source>
        <translation>   Zurück zur Bedienung vor Ort   </translation>
    </message>
</context>
<context>
    <name>SOLCalDlg</name>
    <message>
        <source>SOL Mechanical Calibration - Measure Standards</source>
        <translation>Mechanische SOL-Kalibrierung - Standards messen</translation>
    </message>
    <message>
        <source>Cal Kit: </source>
        <translation>Kalibriersatz: </translation>
    </message>
    <message>
        <source>Port 1</source>
        <translation>Port 1</translation>
    </message>
    <message>
        <source>Port 2</source>
        <translation>Port 2</translation>
    </message>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
</context>
<context>
    <name>SOLECalDlg</name>
    <message>
        <source>SOL Electronic Calibration - Measure Standards</source>
        <translation>SOL-Elektronikkalibrierung - Standards messen</translation>
    </message>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
    <message>
        <source>Unable to find standard.
Cannot continue cal.</source>
        <translation>Standard nicht gefunden.
Kalibrierung kann nicht fortgesetzt werden.</translation>
    </message>
    <message>
        <source>More than 1 standard that matches the class and target port.
Cannot continue calibration</source>
        <translation>Mehr als ein Standard passt zu Klasse und Zielport.
Kalibrierung kann nicht fortgesetzt werden</translation>
    </message>
</context>
<context>
    <name>SOLTCalDlg</name>
    <message>
        <source>SOLR Calibration - Measure Standards</source>
        <translation>SOLR-Kalibrierung - Standards messen</translation>
    </message>
    <message>
        <source>SOLT Calibration - Measure Standards</source>
        <translation>SOLT-Kalibrierung - Standards messen</translation>
    </message>
    <message>
        <source>Cal Kit: </source>
        <translation>Kalibriersatz: </translation>
    </message>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
    <message>
        <source>Port 1</source>
        <translation>Port 1</translation>
    </message>
    <message>
        <source>Port 2</source>
        <translation>Port 2</translation>
    </message>
    <message>
        <source>Thru</source>
        <translation>Durchverbindung</translation>
    </message>
    <message>
        <source>Iso</source>
        <translation>Isolation</translation>
    </message>
    <message>
        <source>Optional</source>
        <translation>Optional</translation>
    </message>
</context>
<context>
    <name>SOLTECalDlg</name>
    <message>
        <source>SOLT Electronic Calibration - Measure Standards</source>
        <translation>SOLT-Elektronikkalibrierung - Standards messen</translation>
    </message>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
    <message>
        <source>Thru</source>
        <translation>Durchverbindung</translation>
    </message>
    <message>
        <source>Unable to find port A standard for this class.
Cannot continue calibration.</source>
        <translation>Kein Standard an Port A für diese Klasse gefunden.
Kalibrierung kann nicht fortgesetzt werden.</translation>
    </message>
    <message>
        <source>Unable to find port B standard for this class.
Cannot continue calibration.</source>
        <translation>Kein Standard an Port B für diese Klasse gefunden.
Kalibrierung kann nicht fortgesetzt werden.</translation>
    </message>
    <message>
        <source>No thru standard found in cal kit.
Cannot continue calibration.</source>
        <translation>Keine Durchverbindung im Kalibriersatz gefunden.
Kalibrierung kann nicht fortgesetzt werden.</translation>
    </message>
</context>
<context>
    <name>Scpi</name>
    <message>
        <source>Invalid measure suffix</source>
        <translation>Invalid measure suffix</translation>
    </message>
    <message>
        <source>Expected suffix</source>
        <translation>Expected suffix</translation>
    </message>
    <message>
        <source>Invalid suffix</source>
        <translation>Invalid suffix</translation>
    </message>
    <message>
        <source>Invalid channel number</source>
        <translation>Invalid channel number</translation>
    </message>
    <message>
        <source>Invalid measurement number</source>
        <translation>Invalid measurement number</translation>
    </message>
    <message>
        <source>Invalid window number</source>
        <translation>Invalid window number</translation>
    </message>
    <message>
        <source>Selected channel not enabled</source>
        <translation>Selected channel not enabled</translation>
    </message>
    <message>
        <source>Line too long: dropped up to its line feed</source>
        <translation>Line too long: dropped up to its line feed</translation>
    </message>
    <message>
        <source>Expected parameter</source>
        <translation>Expected parameter</translation>
    </message>
    <message>
        <source>Expected integer parameter</source>
        <translation>Expected integer parameter</translation>
    </message>
    <message>
        <source>Expected boolean parameter</source>
        <translation>Expected boolean parameter</translation>
    </message>
    <message>
        <source>Expected floating point parameter</source>
        <translation>Expected floating point parameter</translation>
    </message>
    <message>
        <source>Expected frequency parameter</source>
        <translation>Expected frequency parameter</translation>
    </message>
    <message>
        <source>Expected time parameter</source>
        <translation>Expected time parameter</translation>
    </message>
    <message>
        <source>Invalid file name format</source>
        <translation>Invalid file name format</translation>
    </message>
    <message>
        <source>Expected binary parameter</source>
        <translation>Expected binary parameter</translation>
    </message>
    <message>
        <source>Expected hex string</source>
        <translation>Expected hex string</translation>
    </message>
    <message>
        <source>Expected sweep mode</source>
        <translation>Expected sweep mode</translation>
    </message>
    <message>
        <source>Unknown sweep mode</source>
        <translation>Unknown sweep mode</translation>
    </message>
    <message>
        <source>Expected marker coupling method</source>
        <translation>Expected marker coupling method</translation>
    </message>
    <message>
        <source>Unknown marker coupling method</source>
        <translation>Unknown marker coupling method</translation>
    </message>
    <message>
        <source>Expected measurement parameter</source>
        <translation>Expected measurement parameter</translation>
    </message>
    <message>
        <source>Expected trace format</source>
        <translation>Expected trace format</translation>
    </message>
    <message>
        <source>Expected trace hold type</source>
        <translation>Expected trace hold type</translation>
    </message>
    <message>
        <source>Expected trace math operation</source>
        <translation>Expected trace math operation</translation>
    </message>
    <message>
        <source>Expected reference</source>
        <translation>Expected reference</translation>
    </message>
    <message>
        <source>Unknown reference</source>
        <translation>Unknown reference</translation>
    </message>
    <message>
        <source>Expected marker type</source>
        <translation>Expected marker type</translation>
    </message>
    <message>
        <source>Expected marker function</source>
        <translation>Expected marker function</translation>
    </message>
    <message>
        <source>Unknown marker function</source>
        <translation>Unknown marker function</translation>
    </message>
    <message>
        <source>Expected marker tracking function</source>
        <translation>Expected marker tracking function</translation>
    </message>
    <message>
        <source>Unknown marker tracking function</source>
        <translation>Unknown marker tracking function</translation>
    </message>
    <message>
        <source>Expected transform type</source>
        <translation>Expected transform type</translation>
    </message>
    <message>
        <source>Unknown transform type</source>
        <translation>Unknown transform type</translation>
    </message>
    <message>
        <source>Expected transform window</source>
        <translation>Expected transform window</translation>
    </message>
    <message>
        <source>Unknown transform window</source>
        <translation>Unknown transform window</translation>
    </message>
    <message>
        <source>Expected transform marker mode</source>
        <translation>Expected transform marker mode</translation>
    </message>
    <message>
        <source>Unknown transform marker mode</source>
        <translation>Unknown transform marker mode</translation>
    </message>
    <message>
        <source>Expected transform units</source>
        <translation>Expected transform units</translation>
    </message>
    <message>
        <source>Unknown transform units</source>
        <translation>Unknown transform units</translation>
    </message>
    <message>
        <source>Expected gate type</source>
        <translation>Expected gate type</translation>
    </message>
    <message>
        <source>Unknown gate type</source>
        <translation>Unknown gate type</translation>
    </message>
    <message>
        <source>Expected gate shape</source>
        <translation>Expected gate shape</translation>
    </message>
    <message>
        <source>Unknown gate shape</source>
        <translation>Unknown gate shape</translation>
    </message>
    <message>
        <source>Expected power config</source>
        <translation>Expected power config</translation>
    </message>
    <message>
        <source>Unknown power config</source>
        <translation>Unknown power config</translation>
    </message>
    <message>
        <source>Expected sweep type</source>
        <translation>Expected sweep type</translation>
    </message>
    <message>
        <source>Unknown sweep type</source>
        <translation>Unknown sweep type</translation>
    </message>
    <message>
        <source>Expected trigger scope</source>
        <translation>Expected trigger scope</translation>
    </message>
    <message>
        <source>Expected trace scale coupling</source>
        <translation>Expected trace scale coupling</translation>
    </message>
    <message>
        <source>Missing measure suffix</source>
        <translation>Missing measure suffix</translation>
    </message>
    <message>
        <source>Invalid marker suffix</source>
        <translation>Invalid marker suffix</translation>
    </message>
    <message>
        <source>Missing window suffix</source>
        <translation>Missing window suffix</translation>
    </message>
    <message>
        <source>Invalid window suffix</source>
        <translation>Invalid window suffix</translation>
    </message>
    <message>
        <source>Expected receiver parameter</source>
        <translation>Expected receiver parameter</translation>
    </message>
    <message>
        <source>Measurement number already defined</source>
        <translation>Measurement number already defined</translation>
    </message>
    <message>
        <source>Expected statistic parameter</source>
        <translation>Expected statistic parameter</translation>
    </message>
    <message>
        <source>Device already open</source>
        <translation>Device already open</translation>
    </message>
    <message>
        <source>Device already connected</source>
        <translation>Device already connected</translation>
    </message>
    <message>
        <source>Device not found</source>
        <translation>Device not found</translation>
    </message>
    <message>
        <source>Calibration not active.</source>
        <translation>Calibration not active.</translation>
    </message>
    <message>
        <source>Expected error term string.</source>
        <translation>Expected error term string.</translation>
    </message>
    <message>
        <source>Remote calibration already in progress.</source>
        <translation>Remote calibration already in progress.</translation>
    </message>
    <message>
        <source>Expected valid port number.</source>
        <translation>Expected valid port number.</translation>
    </message>
    <message>
        <source>Expected calibration method.</source>
        <translation>Expected calibration method.</translation>
    </message>
    <message>
        <source>Expected register value 0 to 255</source>
        <translation>Expected register value 0 to 255</translation>
    </message>
    <message>
        <source>Expected data format</source>
        <translation>Expected data format</translation>
    </message>
    <message>
        <source>Expected byte order</source>
        <translation>Expected byte order</translation>
    </message>
</context>
<context>
    <name>ScpiLogDialog</name>
    <message>
        <source>SCPI Log</source>
        <translation>SCPI-Protokoll</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>Total:</source>
        <translation>Gesamt:</translation>
    </message>
    <message>
        <source>Commands:</source>
        <translation>Befehle:</translation>
    </message>
    <message>
        <source>Responses:</source>
        <translation>Antworten:</translation>
    </message>
    <message>
        <source>Enabled</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Disabled</source>
        <translation>Deaktiviert</translation>
    </message>
    <message>
        <source>Text Files (*.txt)</source>
        <translation>Textdateien (*.txt)</translation>
    </message>
    <message>
        <source>Export File Name</source>
        <translation>Name der Exportdatei</translation>
    </message>
</context>
<context>
    <name>SettingsPanel</name>
    <message>
        <source>Internal</source>
        <translation>Intern</translation>
    </message>
    <message>
        <source>External</source>
        <translation>Extern</translation>
    </message>
    <message>
        <source>Reference</source>
        <translation>Referenz</translation>
    </message>
    <message>
        <source>System Z0</source>
        <translation>System-Z0</translation>
    </message>
    <message>
        <source>Spur Reject</source>
        <translation>Störlinienunterdrückung</translation>
    </message>
</context>
<context>
    <name>StimulusControlPanel</name>
    <message>
        <source>Restart Avg</source>
        <translation>Mittelung neu starten</translation>
    </message>
    <message>
        <source>Sweep Type</source>
        <translation>Sweep-Art</translation>
    </message>
    <message>
        <source>Start</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message>
        <source>Step Size</source>
        <translation>Schrittweite</translation>
    </message>
    <message>
        <source>Center</source>
        <translation>Mitte</translation>
    </message>
    <message>
        <source>Span</source>
        <translation>Spanne</translation>
    </message>
    <message>
        <source>Sweep Points</source>
        <translation>Sweep-Punkte</translation>
    </message>
    <message>
        <source>IF Bandwidth</source>
        <translation>ZF-Bandbreite</translation>
    </message>
    <message>
        <source>RF Out</source>
        <translation>HF-Ausgang</translation>
    </message>
    <message>
        <source>Power</source>
        <translation>Leistung</translation>
    </message>
    <message>
        <source>Manual Atten</source>
        <translation>Manuelle Dämpfung</translation>
    </message>
    <message>
        <source>Manual Power</source>
        <translation>Manuelle Leistung</translation>
    </message>
    <message>
        <source>Avg Enabled</source>
        <translation>Mittelung aktiv</translation>
    </message>
    <message>
        <source>Avg Count</source>
        <translation>Anzahl Mittelungen</translation>
    </message>
    <message>
        <source>Available when Power is set to Manual Atten.</source>
        <translation>Verfügbar, wenn Leistung auf „Manuelle Dämpfung“ steht.</translation>
    </message>
    <message>
        <source>Available when Power is set to Manual Power.</source>
        <translation>Verfügbar, wenn Leistung auf „Manuelle Leistung“ steht.</translation>
    </message>
    <message>
        <source>A segment sweep takes its frequencies and points from its segment table.</source>
        <translation>Ein Segment-Sweep nimmt Frequenzen und Punkte aus seiner Segmenttabelle.</translation>
    </message>
    <message>
        <source>Edit Segments</source>
        <translation>Segmente bearbeiten</translation>
    </message>
    <message>
        <source>Edits the segment table of a Segment sweep; choose the sweep type Segment to define one.</source>
        <translation>Bearbeitet die Segmenttabelle eines Segment-Sweeps; wählen Sie den Sweep-Typ Segment, um eine anzulegen.</translation>
    </message>
    <message>
        <source>Choose the sweep type Segment to define a segment table.</source>
        <translation>Wählen Sie den Sweep-Typ Segment, um eine Segmenttabelle anzulegen.</translation>
    </message>
</context>
<context>
    <name>Styles</name>
    <message>
        <source>Styles</source>
        <translation>Stile</translation>
    </message>
    <message>
        <source>Loading style..</source>
        <translation>Stil wird geladen..</translation>
    </message>
</context>
<context>
    <name>SweepSegmentDialog</name>
    <message>
        <source>Sweep Segments</source>
        <translation>Sweep-Segmente</translation>
    </message>
    <message>
        <source>Start</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message>
        <source>Points</source>
        <translation>Punkte</translation>
    </message>
    <message>
        <source>Add Segment</source>
        <translation>Segment hinzufügen</translation>
    </message>
    <message>
        <source>Delete Segment</source>
        <translation>Segment löschen</translation>
    </message>
    <message>
        <source>Clear Table</source>
        <translation>Tabelle leeren</translation>
    </message>
    <message>
        <source>Load Table</source>
        <translation>Tabelle laden</translation>
    </message>
    <message>
        <source>Save Table</source>
        <translation>Tabelle speichern</translation>
    </message>
    <message>
        <source>Row %1: the start and stop must be frequencies, such as &quot;2.4 GHz&quot;.</source>
        <translation>Zeile %1: Start und Stopp müssen Frequenzen sein, etwa „2.4 GHz“.</translation>
    </message>
    <message>
        <source>Row %1: the number of points must be a whole number.</source>
        <translation>Zeile %1: Die Punktanzahl muss eine ganze Zahl sein.</translation>
    </message>
    <message>
        <source>Sweep Segment Table (*.csv)</source>
        <translation>Sweep-Segmenttabelle (*.csv)</translation>
    </message>
    <message>
        <source>Load Segments</source>
        <translation>Segmente laden</translation>
    </message>
    <message>
        <source>Save Segments</source>
        <translation>Segmente speichern</translation>
    </message>
</context>
<context>
    <name>SweepSegments</name>
    <message>
        <source>it is empty: a segment needs at least one point.</source>
        <translation>es ist leer: Ein Segment braucht mindestens einen Punkt.</translation>
    </message>
    <message>
        <source>it leaves the instrument&apos;s range of 40 MHz to 40 GHz.</source>
        <translation>es verlässt den Gerätebereich von 40 MHz bis 40 GHz.</translation>
    </message>
    <message>
        <source>its stop frequency lies below its start.</source>
        <translation>seine Stoppfrequenz liegt unter der Startfrequenz.</translation>
    </message>
    <message>
        <source>it repeats one frequency: with more than one point its stop must lie above its start.</source>
        <translation>es wiederholt eine Frequenz: Bei mehr als einem Punkt muss der Stopp über dem Start liegen.</translation>
    </message>
    <message>
        <source>The table has no segments: a segment sweep needs at least one.</source>
        <translation>Die Tabelle enthält keine Segmente: Ein Segment-Sweep braucht mindestens eines.</translation>
    </message>
    <message>
        <source>Segment %1: %2</source>
        <translation>Segment %1: %2</translation>
    </message>
    <message>
        <source>Segments %1 and %2 overlap: each segment must start above the stop frequency of the one before it.</source>
        <translation>Die Segmente %1 und %2 überlappen: Jedes Segment muss oberhalb der Stoppfrequenz des vorigen beginnen.</translation>
    </message>
    <message>
        <source>The segments hold %1 points in all; one sweep takes at most %2.</source>
        <translation>Die Segmente enthalten insgesamt %1 Punkte; ein Sweep fasst höchstens %2.</translation>
    </message>
    <message>
        <source>Unable to write file.</source>
        <translation>Datei kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>Unable to read file.</source>
        <translation>Datei kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>Invalid file type: not a sweep segment table.</source>
        <translation>Ungültiger Dateityp: keine Sweep-Segmenttabelle.</translation>
    </message>
    <message>
        <source>Line %1 does not hold a start, a stop and a number of points.</source>
        <translation>Zeile %1 enthält nicht Start, Stopp und Punktanzahl.</translation>
    </message>
</context>
<context>
    <name>TimeDomainPanel</name>
    <message>
        <source>Bandpass</source>
        <translation>Bandpass</translation>
    </message>
    <message>
        <source>Lowpass (Step)</source>
        <translation>Tiefpass (Sprung)</translation>
    </message>
    <message>
        <source>Lowpass (Impulse)</source>
        <translation>Tiefpass (Impuls)</translation>
    </message>
    <message>
        <source>Minimum</source>
        <translation>Minimum</translation>
    </message>
    <message>
        <source>Normal</source>
        <translation>Normal</translation>
    </message>
    <message>
        <source>Maximum</source>
        <translation>Maximum</translation>
    </message>
    <message>
        <source>Custom</source>
        <translation>Benutzerdefiniert</translation>
    </message>
    <message>
        <source>Auto</source>
        <translation>Auto</translation>
    </message>
    <message>
        <source>Reflection</source>
        <translation>Reflexion</translation>
    </message>
    <message>
        <source>Transmission</source>
        <translation>Transmission</translation>
    </message>
    <message>
        <source>Time(s)</source>
        <translation>Zeit(s)</translation>
    </message>
    <message>
        <source>Distance(m)</source>
        <translation>Entfernung(m)</translation>
    </message>
    <message>
        <source>Distance(ft)</source>
        <translation>Entfernung(ft)</translation>
    </message>
    <message>
        <source>Distance(in)</source>
        <translation>Entfernung(in)</translation>
    </message>
    <message>
        <source>Add Cable</source>
        <translation>Kabel hinzufügen</translation>
    </message>
    <message>
        <source>Set Low Pass Frequencies</source>
        <translation>Tiefpassfrequenzen setzen</translation>
    </message>
    <message>
        <source>Enabled</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Measurement Type</source>
        <translation>Messart</translation>
    </message>
    <message>
        <source>Window</source>
        <translation>Fenster</translation>
    </message>
    <message>
        <source>Kaiser Beta</source>
        <translation>Kaiser-Beta</translation>
    </message>
    <message>
        <source>Marker Mode</source>
        <translation>Markermodus</translation>
    </message>
    <message>
        <source>Marker Units</source>
        <translation>Markereinheiten</translation>
    </message>
    <message>
        <source>Velocity Factor</source>
        <translation>Verkürzungsfaktor</translation>
    </message>
    <message>
        <source>Cable Select</source>
        <translation>Kabelauswahl</translation>
    </message>
    <message>
        <source>Auto Scale</source>
        <translation>Autoskalierung</translation>
    </message>
    <message>
        <source>Start</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message>
        <source>Center</source>
        <translation>Mitte</translation>
    </message>
    <message>
        <source>Span</source>
        <translation>Spanne</translation>
    </message>
    <message>
        <source>Available with the Custom window.</source>
        <translation>Verfügbar mit dem benutzerdefinierten Fenster.</translation>
    </message>
    <message>
        <source>Turn off Auto Scale to set the range.</source>
        <translation>Autoskalierung ausschalten, um den Bereich einzustellen.</translation>
    </message>
    <message>
        <source>Name for a cable of velocity factor %1:</source>
        <translation>Name für ein Kabel mit Verkürzungsfaktor %1:</translation>
    </message>
</context>
<context>
    <name>TimeGatingPanel</name>
    <message>
        <source>Bandpass</source>
        <translation>Bandpass</translation>
    </message>
    <message>
        <source>Notch</source>
        <translation>Bandsperre</translation>
    </message>
    <message>
        <source>Minimum</source>
        <translation>Minimum</translation>
    </message>
    <message>
        <source>Normal</source>
        <translation>Normal</translation>
    </message>
    <message>
        <source>Wide</source>
        <translation>Breit</translation>
    </message>
    <message>
        <source>Maximum</source>
        <translation>Maximum</translation>
    </message>
    <message>
        <source>Gating</source>
        <translation>Zeitfenster</translation>
    </message>
    <message>
        <source>Gate Start</source>
        <translation>Fensterstart</translation>
    </message>
    <message>
        <source>Gate Stop</source>
        <translation>Fensterende</translation>
    </message>
    <message>
        <source>Gate Center</source>
        <translation>Fenstermitte</translation>
    </message>
    <message>
        <source>Gate Span</source>
        <translation>Fensterbreite</translation>
    </message>
    <message>
        <source>Gate Type</source>
        <translation>Fensterart</translation>
    </message>
    <message>
        <source>Gate Shape</source>
        <translation>Fensterform</translation>
    </message>
    <message>
        <source>Coupled Settings</source>
        <translation>Gekoppelte Einstellungen</translation>
    </message>
</context>
<context>
    <name>Touchstone</name>
    <message>
        <source>Unsupported network parameter, must be S.</source>
        <translation>Nicht unterstützter Netzwerkparameter, erwartet wird S.</translation>
    </message>
    <message>
        <source>Expected resistance parameter, none found</source>
        <translation>Bezugswiderstand erwartet, keiner gefunden</translation>
    </message>
    <message>
        <source>Unable to parse reference resistance</source>
        <translation>Bezugswiderstand nicht lesbar</translation>
    </message>
    <message>
        <source>Invalid value on the option line.</source>
        <translation>Ungültiger Wert in der Optionszeile.</translation>
    </message>
    <message>
        <source>Invalid number of points on line</source>
        <translation>Ungültige Anzahl von Werten in der Zeile</translation>
    </message>
    <message>
        <source>Unable to parse data value</source>
        <translation>Datenwert nicht lesbar</translation>
    </message>
    <message>
        <source>Line %1 holds a value that is not a finite number.</source>
        <translation>Zeile %1 enthält einen Wert, der keine endliche Zahl ist.</translation>
    </message>
    <message>
        <source>Line %1: the frequencies must increase from one line to the next.</source>
        <translation>Zeile %1: Die Frequenzen müssen von Zeile zu Zeile steigen.</translation>
    </message>
    <message>
        <source>Unable to open file.</source>
        <translation>Datei kann nicht geöffnet werden.</translation>
    </message>
    <message>
        <source>Unexpected end of file before data</source>
        <translation>Unerwartetes Dateiende vor den Daten</translation>
    </message>
    <message>
        <source>Cannot load file, only linear frequency spacing is supported.</source>
        <translation>Datei kann nicht geladen werden, nur lineare Frequenzabstände werden unterstützt.</translation>
    </message>
    <message>
        <source>Invalid S-Parameter data size.</source>
        <translation>Ungültige Größe der S-Parameter-Daten.</translation>
    </message>
    <message>
        <source>Unable to open selected file.</source>
        <translation>Die gewählte Datei kann nicht geöffnet werden.</translation>
    </message>
</context>
<context>
    <name>TraceControlPanel</name>
    <message>
        <source>Restart Hold</source>
        <translation>Halten neu starten</translation>
    </message>
    <message>
        <source>Auto Scale</source>
        <translation>Autoskalierung</translation>
    </message>
    <message>
        <source>Auto Scale All</source>
        <translation>Alle autoskalieren</translation>
    </message>
    <message>
        <source>Default Scale</source>
        <translation>Standardskalierung</translation>
    </message>
    <message>
        <source>Default Scale All</source>
        <translation>Alle standardskalieren</translation>
    </message>
    <message>
        <source>Add Trace</source>
        <translation>Messkurve hinzufügen</translation>
    </message>
    <message>
        <source>Delete Trace</source>
        <translation>Messkurve löschen</translation>
    </message>
    <message>
        <source>Export Trace</source>
        <translation>Messkurve exportieren</translation>
    </message>
    <message>
        <source>Trace</source>
        <translation>Messkurve</translation>
    </message>
    <message>
        <source>Channel</source>
        <translation>Kanal</translation>
    </message>
    <message>
        <source>Plot</source>
        <translation>Diagramm</translation>
    </message>
    <message>
        <source>Meas</source>
        <translation>Messgröße</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>Format</translation>
    </message>
    <message>
        <source>Trace Hold</source>
        <translation>Kurve halten</translation>
    </message>
    <message>
        <source>Ref</source>
        <translation>Ref</translation>
    </message>
    <message>
        <source>Div</source>
        <translation>Div</translation>
    </message>
    <message>
        <source>Ref Position</source>
        <translation>Ref-Position</translation>
    </message>
    <message>
        <source>Scale Coupling</source>
        <translation>Skalierungskopplung</translation>
    </message>
    <message>
        <source>Use Custom Name</source>
        <translation>Eigenen Namen verwenden</translation>
    </message>
    <message>
        <source>Custom Name</source>
        <translation>Eigener Name</translation>
    </message>
    <message>
        <source>Plot %1</source>
        <translation>Diagramm %1</translation>
    </message>
</context>
<context>
    <name>TriggerControlPanel</name>
    <message>
        <source>Shows the active channel; choose it on the Channels panel.</source>
        <translation>Zeigt den aktiven Kanal; er wird im Bedienfeld „Kanäle“ gewählt.</translation>
    </message>
    <message>
        <source>Active</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Hold</source>
        <translation>Halten</translation>
    </message>
    <message>
        <source>Single</source>
        <translation>Einzeln</translation>
    </message>
    <message>
        <source>Continuous</source>
        <translation>Fortlaufend</translation>
    </message>
    <message>
        <source>Trigger Scope</source>
        <translation>Trigger-Bereich</translation>
    </message>
    <message>
        <source>All Channels</source>
        <translation>Alle Kanäle</translation>
    </message>
    <message>
        <source>Active Channel</source>
        <translation>Aktiver Kanal</translation>
    </message>
</context>
<context>
    <name>UCalUserCharDlg</name>
    <message>
        <source>uCal User Characterization - Measure States</source>
        <translation>uCal-Benutzercharakterisierung - Zustände messen</translation>
    </message>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
    <message>
        <source>Thru</source>
        <translation>Durchverbindung</translation>
    </message>
    <message>
        <source>Port A</source>
        <translation>Port A</translation>
    </message>
    <message>
        <source>Port B</source>
        <translation>Port B</translation>
    </message>
    <message>
        <source>uCal Port on VNA Port 1</source>
        <translation>uCal-Port an VNA-Port 1</translation>
    </message>
</context>
<context>
    <name>UCalUserCharacterization</name>
    <message>
        <source>The module is characterized through a two-port calibration.</source>
        <translation>Zur Charakterisierung des Moduls ist eine Zweitor-Kalibrierung nötig.</translation>
    </message>
    <message>
        <source>The calibration has not been applied to the sweep.</source>
        <translation>Die Kalibrierung wurde nicht auf den Sweep angewendet.</translation>
    </message>
    <message>
        <source>Invalid module state or port map.</source>
        <translation>Ungültiger Modulzustand oder ungültige Portzuordnung.</translation>
    </message>
    <message>
        <source>The measurement does not match the characterization&apos;s frequencies.</source>
        <translation>Die Messung passt nicht zu den Frequenzen der Charakterisierung.</translation>
    </message>
    <message>
        <source> - User Characterization</source>
        <translation> - Benutzercharakterisierung</translation>
    </message>
    <message>
        <source>Unable to write the kit file %1.</source>
        <translation>Die Kalibriersatzdatei %1 kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>The module is characterized through a mechanical calibration.</source>
        <translation>Das Modul wird über eine mechanische Kalibrierung charakterisiert.</translation>
    </message>
</context>
<context>
    <name>VNACalKit</name>
    <message>
        <source>Short</source>
        <translation>Kurzschluss</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Leerlauf</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Abschluss</translation>
    </message>
    <message>
        <source>Thru</source>
        <translation>Durchverbindung</translation>
    </message>
    <message>
        <source>Data</source>
        <translation>Daten</translation>
    </message>
    <message>
        <source>Sliding Load</source>
        <translation>Gleitender Abschluss</translation>
    </message>
    <message>
        <source>Male</source>
        <translation>Stecker</translation>
    </message>
    <message>
        <source>Female</source>
        <translation>Buchse</translation>
    </message>
    <message>
        <source>M</source>
        <translation>St</translation>
    </message>
    <message>
        <source>F</source>
        <translation>Bu</translation>
    </message>
    <message>
        <source>Other</source>
        <translation>Andere</translation>
    </message>
    <message>
        <source>Enter description here</source>
        <translation>Beschreibung hier eingeben</translation>
    </message>
</context>
<context>
    <name>VNACalKitList</name>
    <message>
        <source>&quot;%1&quot; is not a valid kit name: use letters, digits, blanks inside, &quot;_&quot;, &quot;-&quot;, &quot;(&quot; and &quot;)&quot;.</source>
        <translation>„%1“ ist kein gültiger Name für einen Kalibriersatz: erlaubt sind Buchstaben, Ziffern, Leerzeichen im Inneren, „_“, „-“, „(“ und „)“.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is the name of a system kit.</source>
        <translation>„%1“ ist der Name eines System-Kalibriersatzes.</translation>
    </message>
    <message>
        <source>A calibration kit named &quot;%1&quot; already exists.</source>
        <translation>Ein Kalibriersatz namens „%1“ existiert bereits.</translation>
    </message>
    <message>
        <source>Unable to write %1.</source>
        <translation>%1 kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>There is no calibration kit named &quot;%1&quot;.</source>
        <translation>Es gibt keinen Kalibriersatz namens „%1“.</translation>
    </message>
    <message>
        <source>System calibration kits cannot be changed or deleted.</source>
        <translation>System-Kalibriersätze können nicht geändert oder gelöscht werden.</translation>
    </message>
    <message>
        <source>Unable to delete %1.</source>
        <translation>%1 kann nicht gelöscht werden.</translation>
    </message>
    <message>
        <source>%1 is not a calibration kit file.</source>
        <translation>%1 ist keine Kalibriersatzdatei.</translation>
    </message>
    <message>
        <source>Copy of %1</source>
        <translation>Kopie von %1</translation>
    </message>
</context>
<context>
    <name>VNACalStdPicker</name>
    <message>
        <source>Select Standard</source>
        <translation>Standard wählen</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>Typ</translation>
    </message>
    <message>
        <source>Gender</source>
        <translation>Geschlecht</translation>
    </message>
    <message>
        <source>Desc</source>
        <translation>Beschr.</translation>
    </message>
    <message>
        <source>Select</source>
        <translation>Wählen</translation>
    </message>
</context>
<context>
    <name>VNACalibration</name>
    <message>
        <source>S11 Short</source>
        <translation>S11 Kurzschluss</translation>
    </message>
    <message>
        <source>S22 Short</source>
        <translation>S22 Kurzschluss</translation>
    </message>
    <message>
        <source>S11 Open</source>
        <translation>S11 Leerlauf</translation>
    </message>
    <message>
        <source>S22 Open</source>
        <translation>S22 Leerlauf</translation>
    </message>
    <message>
        <source>S11 Load</source>
        <translation>S11 Abschluss</translation>
    </message>
    <message>
        <source>S22 Load</source>
        <translation>S22 Abschluss</translation>
    </message>
    <message>
        <source>S11 Thru</source>
        <translation>S11 Durchverbindung</translation>
    </message>
    <message>
        <source>S21 Thru</source>
        <translation>S21 Durchverbindung</translation>
    </message>
    <message>
        <source>S12 Thru</source>
        <translation>S12 Durchverbindung</translation>
    </message>
    <message>
        <source>S22 Thru</source>
        <translation>S22 Durchverbindung</translation>
    </message>
    <message>
        <source>S21 Iso</source>
        <translation>S21 Isolation</translation>
    </message>
    <message>
        <source>S12 Iso</source>
        <translation>S12 Isolation</translation>
    </message>
    <message>
        <source>Fwd Directivity</source>
        <translation>Vorw. Richtschärfe</translation>
    </message>
    <message>
        <source>Fwd Port 1 Match</source>
        <translation>Vorw. Anpassung Port 1</translation>
    </message>
    <message>
        <source>Fwd Port 2 Match</source>
        <translation>Vorw. Anpassung Port 2</translation>
    </message>
    <message>
        <source>Fwd Reflection Tracking</source>
        <translation>Vorw. Reflexionsgleichlauf</translation>
    </message>
    <message>
        <source>Fwd Transmission Tracking</source>
        <translation>Vorw. Transmissionsgleichlauf</translation>
    </message>
    <message>
        <source>Fwd Isolation</source>
        <translation>Vorw. Isolation</translation>
    </message>
    <message>
        <source>Rev Directivity</source>
        <translation>Rückw. Richtschärfe</translation>
    </message>
    <message>
        <source>Rev Port 2 Match</source>
        <translation>Rückw. Anpassung Port 2</translation>
    </message>
    <message>
        <source>Rev Port 1 Match</source>
        <translation>Rückw. Anpassung Port 1</translation>
    </message>
    <message>
        <source>Rev Reflection Tracking</source>
        <translation>Rückw. Reflexionsgleichlauf</translation>
    </message>
    <message>
        <source>Rev Transmission Tracking</source>
        <translation>Rückw. Transmissionsgleichlauf</translation>
    </message>
    <message>
        <source>Rev Isolation</source>
        <translation>Rückw. Isolation</translation>
    </message>
    <message>
        <source>SOLT</source>
        <translation>SOLT</translation>
    </message>
    <message>
        <source>SOL</source>
        <translation>SOL</translation>
    </message>
    <message>
        <source>SOLR (Unknown Thru)</source>
        <translation>SOLR (unbekannte Durchverbindung)</translation>
    </message>
    <message>
        <source>Waiting</source>
        <translation>Wartet</translation>
    </message>
    <message>
        <source>Not Complete</source>
        <translation>Unvollständig</translation>
    </message>
    <message>
        <source>Measuring</source>
        <translation>Misst</translation>
    </message>
    <message>
        <source>Complete</source>
        <translation>Vollständig</translation>
    </message>
    <message>
        <source>Partial</source>
        <translation>Teilweise</translation>
    </message>
    <message>
        <source>Invalid calibration file version.</source>
        <translation>Ungültige Version der Kalibrierdatei.</translation>
    </message>
    <message>
        <source>Invalid calibration type</source>
        <translation>Ungültige Kalibrierart</translation>
    </message>
    <message>
        <source>Unable to find standard ID mapping</source>
        <translation>Zuordnung der Standard-ID nicht gefunden</translation>
    </message>
</context>
<context>
    <name>VNAChannel</name>
    <message>
        <source>Channel %1</source>
        <translation>Kanal %1</translation>
    </message>
</context>
<context>
    <name>VNADeembed</name>
    <message>
        <source>A fixture must be a two-port (.s2p) file.</source>
        <translation>Ein Messadapter muss eine Zweitor-Datei (.s2p) sein.</translation>
    </message>
    <message>
        <source>The file holds no data.</source>
        <translation>Die Datei enthält keine Daten.</translation>
    </message>
    <message>
        <source>Port %1 fixture: as many points as the sweep, used point for point although its frequencies differ.</source>
        <translation>Messadapter an Port %1: so viele Punkte wie der Sweep, Punkt für Punkt verwendet, obwohl die Frequenzen abweichen.</translation>
    </message>
    <message>
        <source>Port %1 fixture covers %2 to %3 only; beyond that its end values are used.</source>
        <translation>Messadapter an Port %1 deckt nur %2 bis %3 ab; darüber hinaus gelten seine Endwerte.</translation>
    </message>
</context>
<context>
    <name>VNAModel</name>
    <message>
        <source>Invalid channel or port.</source>
        <translation>Ungültiger Kanal oder Port.</translation>
    </message>
    <message>
        <source>Cannot set delta on reference marker</source>
        <translation>Der Referenzmarker kann kein Deltamarker sein</translation>
    </message>
</context>
<context>
    <name>VNAPlot</name>
    <message>
        <source>Statistics</source>
        <translation>Statistik</translation>
    </message>
    <message>
        <source>Min</source>
        <translation>Min</translation>
    </message>
    <message>
        <source>Max</source>
        <translation>Max</translation>
    </message>
    <message>
        <source>Peak-Peak</source>
        <translation>Spitze-Spitze</translation>
    </message>
    <message>
        <source>Mean</source>
        <translation>Mittelwert</translation>
    </message>
    <message>
        <source>StdDev</source>
        <translation>StdAbw</translation>
    </message>
    <message>
        <source>Pass</source>
        <translation>Bestanden</translation>
    </message>
    <message>
        <source>Fail</source>
        <translation>Fehlgeschlagen</translation>
    </message>
    <message>
        <source>Limit: </source>
        <translation>Grenzwert: </translation>
    </message>
    <message>
        <source>Ripl %1: </source>
        <translation>Welligk. %1: </translation>
    </message>
    <message>
        <source>Abs</source>
        <translation>Abs</translation>
    </message>
    <message>
        <source>Marg</source>
        <translation>Abst</translation>
    </message>
    <message>
        <source>Set Title</source>
        <translation>Titel setzen</translation>
    </message>
    <message>
        <source>Clear Title</source>
        <translation>Titel entfernen</translation>
    </message>
    <message>
        <source>Auto Scale All</source>
        <translation>Alle autoskalieren</translation>
    </message>
    <message>
        <source>Disable Markers On Channel</source>
        <translation>Marker im Kanal ausschalten</translation>
    </message>
    <message>
        <source>Meas</source>
        <translation>Messgröße</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>Format</translation>
    </message>
    <message>
        <source>Plot</source>
        <translation>Diagramm</translation>
    </message>
    <message>
        <source>Auto Scale</source>
        <translation>Autoskalierung</translation>
    </message>
    <message>
        <source>Add Marker</source>
        <translation>Marker hinzufügen</translation>
    </message>
    <message>
        <source>Marker Peak</source>
        <translation>Marker auf Maximum</translation>
    </message>
    <message>
        <source>Marker Min</source>
        <translation>Marker auf Minimum</translation>
    </message>
    <message>
        <source>Disable Markers on Trace</source>
        <translation>Marker der Messkurve ausschalten</translation>
    </message>
    <message>
        <source>Export Trace</source>
        <translation>Messkurve exportieren</translation>
    </message>
    <message>
        <source>Delete Trace</source>
        <translation>Messkurve löschen</translation>
    </message>
    <message>
        <source>Plot Title</source>
        <translation>Diagrammtitel</translation>
    </message>
    <message>
        <source>Enter plot title</source>
        <translation>Diagrammtitel eingeben</translation>
    </message>
</context>
<context>
    <name>VNAPortExtensionDialog</name>
    <message>
        <source>Port Extension</source>
        <translation>Port-Verlängerung</translation>
    </message>
    <message>
        <source>DC Offset</source>
        <translation>DC-Versatz</translation>
    </message>
    <message>
        <source>Velocity Factor</source>
        <translation>Verkürzungsfaktor</translation>
    </message>
    <message>
        <source>Clear All</source>
        <translation>Alle leeren</translation>
    </message>
    <message>
        <source>Port 1</source>
        <translation>Port 1</translation>
    </message>
    <message>
        <source>Port 2</source>
        <translation>Port 2</translation>
    </message>
    <message>
        <source>Delay</source>
        <translation>Verzögerung</translation>
    </message>
    <message>
        <source>Length</source>
        <translation>Länge</translation>
    </message>
    <message>
        <source>Use Pair 1</source>
        <translation>Paar 1 verwenden</translation>
    </message>
    <message>
        <source>Freq 1</source>
        <translation>Freq. 1</translation>
    </message>
    <message>
        <source>Loss 1</source>
        <translation>Verlust 1</translation>
    </message>
    <message>
        <source>Use Pair 2</source>
        <translation>Paar 2 verwenden</translation>
    </message>
    <message>
        <source>Freq 2</source>
        <translation>Freq. 2</translation>
    </message>
    <message>
        <source>Loss 2</source>
        <translation>Verlust 2</translation>
    </message>
    <message>
        <source>Auto Port Extension</source>
        <translation>Automatische Port-Verlängerung</translation>
    </message>
    <message>
        <source>Measure Open</source>
        <translation>Leerlauf messen</translation>
    </message>
    <message>
        <source>Measure Short</source>
        <translation>Kurzschluss messen</translation>
    </message>
    <message>
        <source>Measure Loss</source>
        <translation>Verlust messen</translation>
    </message>
    <message>
        <source>No sweep is running on this channel.</source>
        <translation>In diesem Kanal läuft kein Sweep.</translation>
    </message>
    <message>
        <source>Measuring...</source>
        <translation>Misst...</translation>
    </message>
    <message>
        <source>Measured.</source>
        <translation>Gemessen.</translation>
    </message>
    <message>
        <source>No sweep arrived; nothing was measured.</source>
        <translation>Kein Sweep eingetroffen; nichts gemessen.</translation>
    </message>
</context>
<context>
    <name>VNASlidingLoadDlg</name>
    <message>
        <source>Measure Sliding Load</source>
        <translation>Gleitenden Abschluss messen</translation>
    </message>
    <message>
        <source>Meas Count %1</source>
        <translation>Messungen: %1</translation>
    </message>
    <message>
        <source>Minimum Meas Count = %1</source>
        <translation>Mindestanzahl Messungen = %1</translation>
    </message>
    <message>
        <source>Measure Next Position and Continue</source>
        <translation>Nächste Position messen und fortfahren</translation>
    </message>
    <message>
        <source>Measure Next Position and Finish</source>
        <translation>Nächste Position messen und beenden</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
</context>
<context>
    <name>VNAStatusBar</name>
    <message>
        <source>No Device Connected</source>
        <translation>Kein Gerät verbunden</translation>
    </message>
</context>
<context>
    <name>VNAStimulus</name>
    <message>
        <source>Linear</source>
        <translation>Linear</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>Log</translation>
    </message>
    <message>
        <source>Segment</source>
        <translation>Segment</translation>
    </message>
    <message>
        <source>High Power</source>
        <translation>Hohe Leistung</translation>
    </message>
    <message>
        <source>Low Power</source>
        <translation>Niedrige Leistung</translation>
    </message>
    <message>
        <source>Manual Atten</source>
        <translation>Manuelle Dämpfung</translation>
    </message>
    <message>
        <source>Manual Power</source>
        <translation>Manuelle Leistung</translation>
    </message>
</context>
<context>
    <name>VNATrace</name>
    <message>
        <source>LinMag</source>
        <translation>LinMag</translation>
    </message>
    <message>
        <source>LogMag</source>
        <translation>LogMag</translation>
    </message>
    <message>
        <source>Phase(rad)</source>
        <translation>Phase(rad)</translation>
    </message>
    <message>
        <source>Phase(deg)</source>
        <translation>Phase(Grad)</translation>
    </message>
    <message>
        <source>UnwrappedPhase</source>
        <translation>Phase(entfaltet)</translation>
    </message>
    <message>
        <source>SWR</source>
        <translation>SWV</translation>
    </message>
    <message>
        <source>Smith (R+jX)</source>
        <translation>Smith (R+jX)</translation>
    </message>
    <message>
        <source>Smith (G+jB)</source>
        <translation>Smith (G+jB)</translation>
    </message>
    <message>
        <source>Real</source>
        <translation>Real</translation>
    </message>
    <message>
        <source>Imag</source>
        <translation>Imag</translation>
    </message>
    <message>
        <source>GroupDelay</source>
        <translation>Gruppenlaufzeit</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>Plot</source>
        <translation>Diagramm</translation>
    </message>
    <message>
        <source>All</source>
        <translation>Alle</translation>
    </message>
    <message>
        <source>Max</source>
        <translation>Max</translation>
    </message>
    <message>
        <source>Channel</source>
        <translation>Kanal</translation>
    </message>
    <message>
        <source>Bandwidth Not Found</source>
        <translation>Bandbreite nicht gefunden</translation>
    </message>
    <message>
        <source>Bandwidth </source>
        <translation>Bandbreite </translation>
    </message>
    <message>
        <source>Center </source>
        <translation>Mitte </translation>
    </message>
    <message>
        <source>Low </source>
        <translation>Unten </translation>
    </message>
    <message>
        <source>High </source>
        <translation>Oben </translation>
    </message>
    <message>
        <source>Loss %1 dB</source>
        <translation>Verlust %1 dB</translation>
    </message>
    <message>
        <source>Q %1</source>
        <translation>Q %1</translation>
    </message>
    <message>
        <source>Min</source>
        <translation>Min</translation>
    </message>
    <message>
        <source>Data / Mem</source>
        <translation>Daten / Speicher</translation>
    </message>
    <message>
        <source>Data - Mem</source>
        <translation>Daten - Speicher</translation>
    </message>
    <message>
        <source>Data + Mem</source>
        <translation>Daten + Speicher</translation>
    </message>
    <message>
        <source>Data * Mem</source>
        <translation>Daten * Speicher</translation>
    </message>
    <message>
        <source>Data</source>
        <translation>Daten</translation>
    </message>
    <message>
        <source>Eqn Err</source>
        <translation>Formelfehler</translation>
    </message>
    <message>
        <source>Settings changed, trace memory no longer matches. Trace math has been reset.</source>
        <translation>Einstellungen geändert, der Kurvenspeicher passt nicht mehr. Die Kurvenmathematik wurde zurückgesetzt.</translation>
    </message>
</context>
<context>
    <name>VerificationReport</name>
    <message>
        <source>Tolerance: vector difference at most %1 (%2 dB)</source>
        <translation>Toleranz: Vektordifferenz höchstens %1 (%2 dB)</translation>
    </message>
    <message>
        <source>%1: not compared</source>
        <translation>%1: nicht verglichen</translation>
    </message>
    <message>
        <source>%1: %2, worst difference %3 (%4 dB) at %5 over %6 points</source>
        <translation>%1: %2, größte Abweichung %3 (%4 dB) bei %5 über %6 Punkte</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Unknown command line parameter</source>
        <translation>Unbekannter Kommandozeilenparameter</translation>
    </message>
</context>
</TS>
