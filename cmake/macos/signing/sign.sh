#!/bin/sh
# Signs on a Mac what was built there (docs/macos.md): sign.sh "Developer ID Application: NAME (TEAM)"
# With a name of notarytool's keychain profile as the second argument it is also sent to be notarised.
set -eu
if [ $# -lt 1 ] || [ $# -gt 2 ]; then
  echo 'usage: sign.sh "Developer ID Application: NAME (TEAM)" [KEYCHAIN_PROFILE]' >&2
  exit 2
fi
if [ "$(uname -s)" != Darwin ]; then
  echo "sign.sh: only a Mac can sign" >&2
  exit 1
fi
identity=$1
package=$(cd "$(dirname "$0")/.." && pwd)

# With the hardened runtime a program loads the system's libraries and those of the same team only.
# linked FILE: what it links beside the system and the framework.
linked() {
  otool -L "$1" | sed -n 's/^[[:space:]]\{1,\}\(.*\) (compatibility.*/\1/p' |
    grep -v -e '^/usr/lib/' -e '^/System/' -e '^@rpath/KelvoraCore.framework/' | sort -u || true
}
for file in KelvoraCore.framework/Versions/A/KelvoraCore bin/kelvora "bin/Kelvora SMC" "bin/Kelvora Guardian"; do
  found=$(linked "$package/$file")
  if [ -n "$found" ]; then
    echo "sign.sh: $file would not start: it links" $found >&2
    exit 1
  fi
done

# From the inside out: a signature covers those of what is inside.
codesign --force --timestamp --options runtime --sign "$identity" \
  "$package/KelvoraCore.framework/Versions/A"
codesign --force --timestamp --options runtime --identifier com.kelvora.kelvora \
  --entitlements "$package/signing/kelvora.entitlements" --sign "$identity" "$package/bin/kelvora"
codesign --force --timestamp --options runtime --identifier com.kelvora.smc \
  --sign "$identity" "$package/bin/Kelvora SMC"
codesign --force --timestamp --options runtime --identifier com.kelvora.guardian \
  --entitlements "$package/signing/kelvora.entitlements" --sign "$identity" "$package/bin/Kelvora Guardian"
codesign --verify --strict --verbose=2 "$package/KelvoraCore.framework" "$package/bin/kelvora" \
  "$package/bin/Kelvora SMC" "$package/bin/Kelvora Guardian"

if [ $# -eq 2 ]; then
  archive=$(mktemp -d)/kelvora.zip
  ditto -c -k --keepParent "$package" "$archive"
  xcrun notarytool submit "$archive" --keychain-profile "$2" --wait
  rm -r "$(dirname "$archive")"
fi
