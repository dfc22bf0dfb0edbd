// SPDX-License-Identifier: Apache-2.0
import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.Renderable;
import java.awt.GraphicsEnvironment;
import java.awt.image.BufferedImage;
import java.io.IOException;
import java.lang.reflect.InvocationTargetException;
import java.nio.file.Path;
import javax.swing.ImageIcon;
import javax.swing.JFrame;
import javax.swing.JLabel;
import javax.swing.SwingUtilities;

/**
 * Plays a multi-frame DICOM file: {@code java PlayFrames INPUT [FIRST_FRAME]}. Frames are shown as they are
 * decoded; closing the window stops the decoding. Without a screen it prints a line per frame.
 */
public final class PlayFrames {
    private final JLabel screen = new JLabel();
    private volatile boolean closed;

    private PlayFrames() {
    }

    /**
     * Runs the example.
     *
     * @param arguments input and optionally the first frame
     * @throws IOException if decoding fails
     */
    public static void main(String[] arguments) throws IOException {
        if (arguments.length != 1 && arguments.length != 2) {
            System.err.println("usage: PlayFrames INPUT [FIRST_FRAME]");
            System.exit(1);
        }
        int first = arguments.length == 2 ? Integer.parseInt(arguments[1]) : 0;
        PlayFrames player = new PlayFrames();
        boolean hasScreen = !GraphicsEnvironment.isHeadless();
        Decompressor.decodeFrames(Path.of(arguments[0]), DecodeOptions.DEFAULT.withFrame(first),
                hasScreen ? player::show : player::print);
    }

    private boolean print(int index, Renderable frame) {
        try (frame) {
            System.out.println("frame " + index + ": " + frame.getColumns() + " x " + frame.getRows());
        }
        return true;
    }

    private boolean show(int index, Renderable frame) {
        try (frame) {
            BufferedImage picture = frame.toBufferedImage();
            SwingUtilities.invokeAndWait(() -> display(index, picture));
        } catch (InterruptedException | InvocationTargetException exception) {
            return false;
        }
        return !closed;
    }

    private void display(int index, BufferedImage picture) {
        screen.setIcon(new ImageIcon(picture));
        JFrame window = (JFrame) SwingUtilities.getWindowAncestor(screen);
        if (window == null) {
            window = new JFrame();
            window.setDefaultCloseOperation(JFrame.DISPOSE_ON_CLOSE);
            window.addWindowListener(new java.awt.event.WindowAdapter() {
                @Override
                public void windowClosed(java.awt.event.WindowEvent event) {
                    closed = true;
                }
            });
            window.add(screen);
            window.pack();
            window.setVisible(true);
        }
        window.setTitle("Frame " + index);
    }
}
