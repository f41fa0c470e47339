# Writes a man page from a program's --help text, so that the two never say different things.
#   cmake -DHELP=help.txt -DOUT=prog.1 -DNAME=prog -DSUMMARY="..." -DVERSION=5.2 -DSEE_ALSO="other(1)" -P man_page.cmake
file(READ "${HELP}" help)
# troff: a backslash is written \e; a line may not start with a dot or an apostrophe.
string(REPLACE "\\" "\\e" help "${help}")
string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" help "${help}")
string(TOUPPER "${NAME}" upper)
string(TIMESTAMP date "%Y-%m-%d" UTC)
set(page ".TH ${upper} 1 \"${date}\" \"Kestrova ${VERSION}\" \"User Commands\"
.SH NAME
${NAME} \\- ${SUMMARY}
.SH DESCRIPTION
The text below is the program's own \\fB--help\\fR.
.PP
.nf
${help}
.fi
.SH FILES
.TP
.I $XDG_CONFIG_HOME/kestrova/kr.ini
The settings (the last volume chosen in the window, the report folder, the zone times are shown
in), copied from
.I /usr/share/kestrova/kr.ini
on the first start; the environment variable
.B KESTROVA_SETTINGS
names another file.
.TP
.I /usr/share/kestrova/sample
The built-in sample Windows system, examined when no volume is given.
.SH SEE ALSO
${SEE_ALSO}
")
file(WRITE "${OUT}" "${page}")
