# What a program that does without the library compiles for the chosen recorded Mac, besides the
# sources of its system: TrustedEnvironment.cpp and the log.
set(KELVORA_CHOSEN_MACHINE_SOURCES
  base/HexadecimalText.cpp
  base/JSONNesting.cpp
  platforms/posix/FileLock.cpp
  platforms/posix/NewFiles.cpp
  platforms/recorded/ChoiceFile.cpp
  platforms/recorded/ChosenMachine.cpp
  platforms/recorded/FanFirmware.cpp
  platforms/recorded/RecordedSMC.cpp
  platforms/recorded/file/JSONFile.cpp
  platforms/recorded/file/JSONPlace.cpp
  platforms/recorded/file/MachineFileSMC.cpp
  platforms/shared/SoftwareSMC.cpp
  ports/MachineFileError.cpp
)
list(TRANSFORM KELVORA_CHOSEN_MACHINE_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/)
