; The Windows installer of Orvane Translator (makensis -DPACKAGE_DIR=<program folder>
; -DOUTFILE=<setup.exe> -DVERSION=<x.y>).
;
; It installs for the current user, without administrator rights, into
; %LOCALAPPDATA%\Programs\Orvane Translator: the databases live in the program folder, which
; must stay writable for the user who scans. Installing over an installation replaces the
; program and keeps the databases and transltr.ini, which hold the store's data.
Unicode true
; The program is 64-bit, and so is the installer: a 64-bit Windows needs nothing more to run it.
Target amd64-unicode
!include "MUI2.nsh"
!include "LogicLib.nsh"

!ifndef PACKAGE_DIR
  !error "give -DPACKAGE_DIR=<program folder>"
!endif
!ifndef OUTFILE
  !error "give -DOUTFILE=<setup.exe>"
!endif
!ifndef VERSION
  !error "give -DVERSION=<x.y>"
!endif

!define PRODUCT "Orvane Translator"
!define EXE "orvane-translator.exe"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${PRODUCT}"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"

Name "${PRODUCT}"
OutFile "${OUTFILE}"
RequestExecutionLevel user
InstallDir "$LOCALAPPDATA\Programs\${PRODUCT}"
InstallDirRegKey HKCU "${UNINSTALL_KEY}" "InstallLocation"
SetCompressor /SOLID lzma
BrandingText "${PRODUCT} ${VERSION}"

!define MUI_FINISHPAGE_RUN "$INSTDIR\${EXE}"
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

Section "${PRODUCT}" SecProgram
  SectionIn RO
  SetOutPath "$INSTDIR"
  ; The program itself is replaced by every installation...
  SetOverwrite on
  File /r /x dbscan.mdb /x accsys.mdb /x CmdKeys.mdb /x transltr.ini "${PACKAGE_DIR}/*"
  ; ...the databases and transltr.ini only ever by the user.
  SetOverwrite off
  File "${PACKAGE_DIR}/dbscan.mdb"
  File "${PACKAGE_DIR}/accsys.mdb"
  File "${PACKAGE_DIR}/CmdKeys.mdb"
  File "${PACKAGE_DIR}/transltr.ini"
  SetOverwrite on

  CreateShortcut "$SMPROGRAMS\${PRODUCT}.lnk" "$INSTDIR\${EXE}"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "${PRODUCT}"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${EXE}"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section /o "Start with Windows" SecStartup
  WriteRegStr HKCU "${RUN_KEY}" "${PRODUCT}" '"$INSTDIR\${EXE}"'
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SecProgram} "The program, with empty databases on a first installation."
  !insertmacro MUI_DESCRIPTION_TEXT ${SecStartup} "Starts the program in the tray when you log on to Windows."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Function .onInit
  ; An update keeps the choice made at the first installation.
  ReadRegStr $0 HKCU "${RUN_KEY}" "${PRODUCT}"
  ${If} $0 != ""
    SectionSetFlags ${SecStartup} ${SF_SELECTED}
  ${EndIf}
FunctionEnd

Function .onInstSuccess
  ${IfNot} ${SectionIsSelected} ${SecStartup}
    DeleteRegValue HKCU "${RUN_KEY}" "${PRODUCT}"
  ${EndIf}
FunctionEnd

Section "Uninstall"
  ; The program's own files: executables, libraries and Qt's plugin folders.
  Delete "$INSTDIR\*.exe"
  Delete "$INSTDIR\*.com"
  Delete "$INSTDIR\*.dll"
  Delete "$INSTDIR\qt.conf"
  RMDir /r "$INSTDIR\platforms"
  RMDir /r "$INSTDIR\sqldrivers"
  RMDir /r "$INSTDIR\styles"
  RMDir /r "$INSTDIR\imageformats"
  Delete "$SMPROGRAMS\${PRODUCT}.lnk"
  DeleteRegValue HKCU "${RUN_KEY}" "${PRODUCT}"
  DeleteRegKey HKCU "${UNINSTALL_KEY}"

  ; The store's data goes only when the user says so (a silent uninstall keeps it).
  MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 \
    "Delete the databases as well?$\r$\n$\r$\nThey hold the translation table, the return \
patterns and the settings (dbscan.mdb, accsys.mdb, CmdKeys.mdb and transltr.ini in \
$INSTDIR). Answer No to keep them for a later installation." \
    /SD IDNO IDNO keep
    Delete "$INSTDIR\dbscan.mdb"
    Delete "$INSTDIR\dbscanback.mdb"
    Delete "$INSTDIR\dbscan-damaged.mdb"
    Delete "$INSTDIR\accsys.mdb"
    Delete "$INSTDIR\CmdKeys.mdb"
    Delete "$INSTDIR\transltr.ini"
  keep:
  ; Removed only when nothing of the user's is left in it (the Exports folder, kept databases).
  RMDir "$INSTDIR\Exports"
  RMDir "$INSTDIR"
SectionEnd
