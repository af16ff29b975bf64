; SPDX-License-Identifier: Apache-2.0
; Of the installer: the shortcuts that are a choice, and the page that asks. Needs its texts and variables.

; What was chosen, else what was there and still is: a shortcut that somebody deleted does not come back.
!macro chooseShortcut RESULT CHOSEN VALUE SHORTCUT
    StrCpy ${RESULT} ${CHOSEN}
    ${If} ${RESULT} == ""
        StrCpy ${RESULT} 0
        ReadRegStr $0 SHCTX "${OWN_KEY}" "${VALUE}"
        ${If} $0 == 1
        ${AndIf} ${FileExists} "${SHORTCUT}"
            StrCpy ${RESULT} 1
        ${EndIf}
    ${EndIf}
!macroend
!macro chooseStart
    !insertmacro chooseShortcut $OnDesktop "$ChosenDesktop" Desktop "$DESKTOP\${NAME}.lnk"
    !insertmacro chooseShortcut $WithWindows "$ChosenAutostart" Autostart "$SMSTARTUP\${NAME}.lnk"
!macroend

Function showStart
    !insertmacro chooseStart
    !insertmacro MUI_HEADER_TEXT "$(start)" "$(howToStart)"
    nsDialogs::Create 1018
    Pop $0
    ${NSD_CreateLabel} 0 4u 100% 12u "$(inTheMenu)"
    Pop $0
    ${NSD_CreateCheckBox} 0 22u 100% 12u "$(onTheDesktop)"
    Pop $DesktopButton
    ${If} $OnDesktop = 1
        ${NSD_Check} $DesktopButton
    ${EndIf}
    ${If} $MultiUser.InstallMode == "AllUsers"
        StrCpy $0 "$(withWindowsForAll)"
    ${Else}
        StrCpy $0 "$(withWindows)"
    ${EndIf}
    ${NSD_CreateCheckBox} 0 40u 100% 12u "$0"
    Pop $AutostartButton
    ${If} $WithWindows = 1
        ${NSD_Check} $AutostartButton
    ${EndIf}
    nsDialogs::Show
FunctionEnd

Function leaveStart
    ${NSD_GetState} $DesktopButton $ChosenDesktop
    ${NSD_GetState} $AutostartButton $ChosenAutostart
FunctionEnd
