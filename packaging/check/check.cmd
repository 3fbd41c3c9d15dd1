@echo off
rem Tests the launcher on this machine: see docs\windows-check.md. Exits with 0 only if nothing failed.
setlocal
set "report=%~dp0check-report.txt"
"%~dp0check\check_report.exe" "%report%" %*
set status=%ERRORLEVEL%
echo The report is in "%report%".
rem After a double-click, this is the line of cmd.exe, whose window would close. A task has no SESSIONNAME.
set "line=%CMDCMDLINE:"=%"
if defined SESSIONNAME if /i "%line%"=="%ComSpec% /c %~f0 " pause
exit /b %status%
