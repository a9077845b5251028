#!/usr/bin/env bash
# Makes the files of this folder anew in the current one, with OpenSSL 3.0's command line. They are
# kept because keys take time to make; none protects anything. All certificates have expired.
set -euo pipefail
openssl genrsa -out rsa.pem 2048
openssl ecparam -name prime256v1 -genkey -noout -out ec.pem
openssl genpkey -algorithm rsa-pss -pkeyopt rsa_keygen_bits:2048 -out pss.pem
for kind in rsa ec pss; do
  openssl req -x509 -new -key $kind.pem -subj "/CN=Kelm test" -days 1 -out $kind.crt
  openssl x509 -in $kind.crt -outform DER -out certificate_$kind.der
done
openssl x509 -in rsa.crt -noout -pubkey | openssl pkey -pubin -outform DER -out public_key_info.der
openssl rsa -in rsa.pem -RSAPublicKey_out -outform DER -out public_key.der
openssl rsa -in rsa.pem -traditional -outform DER -out private_key.der

# Keys that no generator makes, as certificates: their numbers are just numbers.
certify() {  # name, modulus in hexadecimal
  printf 'asn1=SEQUENCE:info\n[info]\na=SEQUENCE:algorithm\nk=BITWRAP,SEQUENCE:key\n%s%s%s' \
    $'[algorithm]\no=OID:rsaEncryption\np=NULL\n' "[key]"$'\n'"n=INTEGER:0x$2" \
    $'\ne=INTEGER:65537\n' >key.conf
  openssl asn1parse -genconf key.conf -noout -out key.der
  { echo "-----BEGIN PUBLIC KEY-----"; base64 key.der; echo "-----END PUBLIC KEY-----"; } >key.pem
  openssl x509 -new -subj "/CN=Kelm test" -days 1 -force_pubkey key.pem -key ec.pem -outform DER \
    -out certificate_$1.der
}
number() {  # bits: the highest and the lowest are set
  python3 -c "print(f'{(1 << $1 - 1) | int(\"5\" * ($1 // 4 - 1), 16):x}')"
}
certify zero 0
certify even "$(number 1024 | sed 's/.$/4/')"
for bits in 511 512 8192 8193; do certify $bits "$(number $bits)"; done

bundle() {  # name, password, options
  local name=$1 password=$2
  shift 2
  openssl pkcs12 -export -passout "pass:$password" "$@" -out bundle_$name.p12
}
whole="-inkey rsa.pem -in rsa.crt"
bundle aes secret $whole
bundle rc2 secret $whole -legacy
bundle 3des secret $whole -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES -macalg sha1
bundle utf8_password pässwörd $whole
bundle empty_password "" $whole
bundle no_mac secret $whole -nomac
bundle certificate_only secret -nokeys -in rsa.crt
bundle key_only secret -inkey rsa.pem -nocerts
bundle ec secret -inkey ec.pem -in ec.crt
bundle too_many_rounds secret $whole -keypbe NONE -certpbe NONE -iter 10000001

printf 'signed text' >text
for digest in sha1 sha256 sha512; do
  openssl dgst -$digest -sign rsa.pem -out signature_$digest.bin text
done
for mode in pkcs1 oaep; do
  openssl pkeyutl -encrypt -inkey rsa.pem -pkeyopt rsa_padding_mode:$mode -in text \
    -out encrypted_$mode.bin
done
rm -f ./*.pem ./*.crt key.conf key.der text
