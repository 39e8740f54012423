/* The German texts of tvkpack and of the library, in ISO-8859-15. */
#include <tvk/text/MessageEntry.h>

#include <stddef.h>

/* clang-format off */
static const TvkMessageEntry s_texts[] = {
    /* Of the library. */
    {1001, "Datei %1 nicht gefunden"},
    {1002, "Ordner nicht gefunden: %1"},
    {1003, "Datei %1 kann nicht ge\366ffnet werden"},
    {1004, "Datei %1 kann nicht angelegt werden"},
    {1005, "Datei %1 kann nicht geschlossen werden"},
    {1006, "tempor\344re Datei kann nicht angelegt werden"},
    {1007, "tempor\344re Datei kann nicht in %1 umbenannt werden"},
    {1008, "Datei %1 kann zum Aktualisieren nicht gel\366scht werden"},
    {1009, "Datei %1 kann nicht gelesen werden"},
    {1010, "Datei %1 kann nicht geschrieben werden"},
    {1011, "Datentr\344ger %1 ist voll"},
    {1012, "zu viele offene Dateien"},
    {1013, "Zugriff auf %1 verweigert"},
    {1014, "kein Arbeitsspeicher mehr frei"},
    {1015, "ung\374ltiges Laufwerk: %1"},
    {1016, "ung\374ltige Datei/ung\374ltiger Ordner: %1"},
    {1017, "Datentr\344ger %1 ist schreibgesch\374tzt"},
    {1018, "Datentr\344ger %1 kann nicht gew\344hlt werden"},
    {1019, "Daten auf Datentr\344ger %1 k\366nnen nicht angesteuert werden"},
    {1020, "Datentr\344ger %1 hat ein ung\374ltiges Format"},
    {1021, "unzul\344ssiger Datentr\344gerwechsel in %1"},
    {1022, "Datei %1 ist gesperrt"},
    {1024, "Umgebungsvariable %1 ist nicht gesetzt"},
    {1025, "ung\374ltige Angabe in Umgebungsvariable %1: %2"},
    {1029, "Datei %1 ist schon vorhanden"},
    {1030, "Zeile zu lang"},
    {1031, "Datei ist besch\344digt%1"},
    {1033, "ung\374ltiger Inhalt der Textdatei%1"},
    {1034, "Datei hat einen ung\374ltigen Kopf%1"},
    {1035, "Datei hat eine falsche Pr\374fsumme%1"},
    {1036, "Datei hat den falschen Typ%1"},
    {1037, "Datei ist gepackt"},
    {1038, "Zugriff auf entfernte Rechner wird nicht unterst\374tzt"},
    {1039, "Ordner %1 kann nicht angelegt werden"},
    {1040, "Ordner %1 kann nicht entfernt werden"},
    {1100, "zu viele Relokationseintr\344ge in der Datei"},
    {1101, "Datei ist ein in den hohen Speicher ladbares DOS-Programm"},
    {1102, "Datei ist kein g\374ltiges Programm"},
    {1103, "Datei ist ein OS/2- oder Windows-Programm"},
    {1104, "Aufbau der Datei ist zu verwickelt"},
    {1105, "Datei ist eine OS/2- oder Windows-Map"},
    {1113, "Datei hat Version %1. Gebraucht wird Version %2 oder h\366her"},
    {1114, "Datei hat die falsche Version %1"},
    {1115, "Datei ist nicht initialisiert"},
    {1116, "%1: kein Zugriff auf die Dienstverwaltung (Systemfehler %2)"},
    {1117, "%1 ist nicht installiert"},
    {1118, "kein Zugriff auf %1 (Systemfehler %2)"},
    {1119, "%1 ist besch\344ftigt (Systemfehler %2)"},
    {1120, "%1 kann nicht installiert werden (Systemfehler %2)"},
    {1121, "%1 kann nicht entfernt werden (Systemfehler %2)"},
    {1122, "%1 kann nicht gestartet werden (Systemfehler %2)"},
    {1123, "%1 kann nicht angehalten werden (Systemfehler %2)"},
    {1124, "kein Zugriff auf die Registrierung von %1 (Systemfehler %2)"},
    {1125, "kein Zugriff auf die Registrierungswerte von %1 (Systemfehler %2)"},
    {1126, "\"%3\" in der Registrierung von %1 kann nicht ge\344ndert werden (Systemfehler %2)"},
    {1127, "Version von %1 ist unbekannt"},
    {1128, "%1 hat die falsche Version %3"},
    {1129, "%1 braucht Client-Version %3"},
    {1130, "keine Benutzerrechte zum Verwalten von %1 (Systemfehler %2)"},
    {1131, "Sprachmodul enth\344lt ung\374ltige Versionsangaben"},
    {1132, "Sprachmodul enth\344lt %1 als internen Namen"},
    {1133, "Sprachmodul hat die falsche Version %1 (gebraucht wird %2)"},
    {1134, "kein Zugriff auf das Ereignisprotokoll f\374r %1 (Systemfehler %2)"},
    {1135, "%1 kann nicht unterbrochen werden (Systemfehler %2)"},
    {1136, "%1 kann nicht fortgesetzt werden (Systemfehler %2)"},
    {1137, "%1 ist nicht gestartet"},
    {1138, "%1 kann nicht installiert werden: Datei %3 nicht gefunden"},
    {1139, "%1 ist besch\344ftigt (Zustandswechsel steht aus)"},
    {1140, "kein Zugriff auf \"%1\" in der Registrierung (%2)"},
    {1141, "\"%1\" in der Registrierung nicht gefunden (%2)"},
    {1142, "\"%1\" in der Registrierung hat ung\374ltige Daten (%2)"},
    {1143, "\"%1\" in der Registrierung ist au\337erhalb des Bereichs (%2)"},
    {1144, "\"%1\" in der Registrierung nicht gefunden"},
    {1145, "kein Zugriff auf den Eintrag (Systemfehler %1)"},
    {1146, "Eintrag enth\344lt ung\374ltige Daten \"%1\""},
    {1147, "Eintrag nicht gefunden"},
    {1150, "Typ der Installationsdatei weicht von der installierten Datei ab"},
    {1151, "Sprache der Installationsdatei weicht von der installierten Datei ab"},
    {1152, "installierte Datei ist neuer als die Installationsdatei"},
    {1215, "Datei hat keine g\374ltige Segmenttabelle"},
    {1216, "Datei hat keine g\374ltige Symboltabelle"},
    {1305, "kein Netzwerk vorhanden"},
    {1306, "Server im Netzwerk nicht gefunden: %1"},
    {1308, "Netzwerk nicht bereit"},
    {1309, "Fehler der Netzwerkverbindung (%1)"},
    {1312, "Systemfehler %1%2"},
    {1313, "Ung\374ltiges Datum/ung\374ltige Zeit: %1"},
    {2001, "ung\374ltige Option"},
    {2002, "ung\374ltige Angabe in der Option"},
    {2003, "fehlende Angabe in der Option"},
    {2005, "Wert %1 au\337erhalb des Bereichs"},
    {2006, "Ende der Zeichenkette fehlt %1"},
    {2007, "Zeichenkette zu lang"},
    {2010, "Symbol %1 nicht definiert"},
    {2011, "Symbol %1 in verschiedenen Segmenten definiert"},
    {2012, "Symbol %1 hat einen ung\374ltigen Typ"},
    {2013, "Wert darf kein Symbol sein: %1"},
    {2015, "Datenangabe zu lang"},
    {2019, "Dateiangabe erwartet: %1"},
    {2020, "Dezimalzahl erwartet: %1"},
    {2021, "Zahl erwartet: %1"},
    {2022, "Ende der Eingabezeile erwartet: %1"},
    {2023, "ung\374ltige Angabe: %1"},
    {2024, "fehlende Angabe"},
    {2025, "Angabe ist mehrdeutig: %1"},
    {2026, "mehrfache Angabe: %1"},
    {2027, "unzul\344ssige Option in der Betriebsart %1"},
    {2100, "Datentr\344ger nur in der ersten Dateiangabe erlaubt: %1"},
    {2101, "Ordner nur in der ersten Dateiangabe erlaubt: %1"},
    {2102, "Optionen nur nach der ersten Dateiangabe erlaubt: %1"},
    {4003, "Datei hat einen EXE-Kopf"},
    {4004, "Datei ist gepackt"},
    {55296, "Undokumentiert/intern (%1)"},
    {55297, "Fehler"},
    {55298, "Warnung"},
    {55299, "schwerer Fehler"},
    {55312, "JanFebM\344rAprMaiJunJulAugSepOktNovDez"},
    {55313, "SoMoDiMiDoFrSa"},
    {55314, "Version %1 vom %2"},
    {55315, "Stand"},
    {55316, "Konzept"},
    {55317, "Alpha"},
    {55318, "Beta"},
    {55319, "Gamma"},
    {55320, "Build"},
    {55321, "%3.%2.%1"},
    {55328, "Copyright \251 %1 von"},
    {55329, "Copyright \251 %1 - %2 von"},
    {55330, "Direkthilfe"},
    {55336, "Datei \"%1\""},
    {55344, "Dienst \"%1\" (%2)"},
    {55345, "Treiber \"%1\" (%2)"},
    {55360, "Datei \"%1\", Abschnitt [%2]"},
    {55361, "Datei \"%1\", Abschnitt [%2], Wert \"%3\""},
    {55376, "%1: vom Benutzer abgebrochen"},
    {55377, "[Weiter mit jeder Taste]"},
    {55378, "undokumentiert"},
    {57088, "Sprachmodul %1"},
    {57089, "Modul wird nicht beachtet. Das eingebaute Englisch wird verwendet."},

    /* Of the program. */
    {1901, "Datei ist nicht ein vollst\344ndiger gzip-Block%1"},
    {1902, "gepackter Block von %1 ergibt ausgepackt nicht dasselbe"},
    {5001, "tvkpack %1"},
    {5010, "gepackt  %4  %1 -> %2  %3"},
    {5011, "entpackt %4  %1 -> %2  %3"},
    {5012, "gut      %4  %1 -> %2  %3"},
    {5013, "belassen %2  %1"},
    {5014, "%1 %2 %3  %4  %5"},
    {5015, "     gepackt     entpackt  Anteil  ge\344ndert              Name"},
    {5020, "symbolischer Link"},
    {5021, "hat mehr als einen Link"},
    {5022, "keine gew\366hnliche Datei"},
    {5023, "leer"},
    {5024, "schon gepackt"},
    {5025, "nicht gepackt"},
    {5026, "zu gro\337 f\374r einen Block"},
    {5027, "w\374rde nicht kleiner"},
    {5028, "hat sich inzwischen ge\344ndert"},
    {5029, "beginnt mit den auszulassenden Bytes"},
    {5030, "Rest eines abgebrochenen Laufs"},
    {5031, "nicht gew\374nscht"},
    {5040, "%1 gepackt, %2 belassen, %3 gescheitert, %4 -> %5"},
    {5041, "%1 entpackt, %2 belassen, %3 gescheitert, %4 -> %5"},
    {5042, "%1 gepr\374ft, %2 belassen, %3 gescheitert, %4 -> %5"},
    {5043, "%1 gelistet, %2 belassen, %3 gescheitert, %4 -> %5"},
    {5050, "%1 von %2 Dateien"},
    {5060, "%1 packen?"},
    {5061, "%1 entpacken?"},
    {5062, "%1 pr\374fen?"},
    {5063, "%1 listen?"},
    {5064, "jnab"},
    {5070, "abgebrochen; die Dateien oben sind fertig, alle anderen wie zuvor"},
    {5000,
     "Packt Dateien mit gzip an Ort und Stelle: aus NAME wird NAME.gz, sobald der\n"
     "gepackte Block zur Probe entpackt, verglichen und sicher gespeichert ist.\n"
     "\n"
     "  tvkpack [Optionen] WAS...\n"
     "\n"
     "WAS ist eine Datei oder ein Ordner mit Namensmustern hinter Kommas, zum\n"
     "Beispiel /var/log,*.log,*.txt - ohne Muster alle Dateien des Ordners.\n"
     "\"~\" am Anfang ist der eigene Ordner.\n"
     "\n"
     "  -pack            packen (wenn nichts anderes gesagt ist)\n"
     "  -unpack          NAME.gz zu NAME entpacken\n"
     "  -test            nur im Speicher entpacken und sagen, was heil ist\n"
     "  -list            gepackte Dateien auflisten\n"
     "  -recurse         mit allen Unterordnern\n"
     "  -keep            die Originale behalten\n"
     "  -overwrite       vorhandene Ziele ersetzen\n"
     "  -before=DATUM[,ZEIT[ZONE]]  nur zuvor Ge\344ndertes: 2024-03-15T12:00:00Z\n"
     "  -after=DATUM[,ZEIT[ZONE]]   nur dann oder sp\344ter Ge\344ndertes: 2024Mar15\n"
     "  -larger=N        nur Dateien mit mehr als N Bytes (auch oktal, hexadezimal)\n"
     "  -smaller=N       nur Dateien mit weniger als N Bytes\n"
     "  -skip=HEXBYTES   Dateien belassen, die mit diesen Bytes beginnen\n"
     "  -jobs=N          N Dateien zugleich, 1 bis 64 (sonst: wie Prozessoren)\n"
     "  -ask             jede Datei erfragen: j ja, n nein, a alle, b abbrechen\n"
     "  -page            nach jedem Bildschirm anhalten\n"
     "  -log             in das Systemprotokoll berichten\n"
     "  -quiet           nur Fehler berichten\n"
     "  -help, -version\n"
     "\n"
     "Belassen, mit einem Wort warum: leere Dateien, Links und Dateien mit mehreren\n"
     "Links, gepackte, zu gro\337e (4 GiB), nicht kleiner werdende und sich \344ndernde.\n"
     "\n"
     "Status: 0 alles gut, 4 eine Datei gescheitert, 3 falsche Kommandozeile oder\n"
     "anderer Fehler, 11 an einer Frage abgebrochen."},

    {0, NULL},
};
/* clang-format on */

TVK_MODULE_EXPORT const TvkMessageEntry* GetStrings(void);
TVK_MODULE_EXPORT const TvkMessageEntry* GetStrings(void) { return s_texts; }
