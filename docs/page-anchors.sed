# Gives each heading of a document the label by which the document's links name it.
/^##+ /{h;s/^#+ //;s/[^A-Za-z0-9 -]//g;s/ /-/g;s/.*/\L&/;x;G;s/\n(.*)/ {#\1}/}
